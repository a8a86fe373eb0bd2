// SPDX-License-Identifier: BSD-2-Clause
//
// A socket with a buffer in each direction: the many small messages of the live stream cross it
// with one system call for dozens of them. Writes are gathered until the loop has nothing else to
// do. Used by the loop thread of each end only.
//
// The reading side can be held back, so that a peer that sends requests and never reads the answers
// makes no queue grow.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <kj/async-io.h>
#include <kj/function.h>

namespace brindle::wire {

class BufferedStream final : public kj::AsyncIoStream {
  public:
    explicit BufferedStream(kj::Own<kj::AsyncIoStream> inner);

    /// Reading waits while this is false; asked again whenever something was written.
    void setReadGate(kj::Function<bool()> mayRead) { mayRead_ = kj::mv(mayRead); }
    /// Once so many bytes were read in all the stream counts as closed by the peer.
    void setReadLimit(std::uint64_t bytes) { readLimit_ = bytes; }

    kj::Promise<size_t> tryRead(void* buffer, size_t minBytes, size_t maxBytes) override;
    kj::Promise<void> write(const void* buffer, size_t size) override;
    kj::Promise<void> write(kj::ArrayPtr<const kj::ArrayPtr<const kj::byte>> pieces) override;
    kj::Promise<void> whenWriteDisconnected() override { return inner_->whenWriteDisconnected(); }
    void shutdownWrite() override;
    void abortRead() override { inner_->abortRead(); }
    void getsockopt(int level, int option, void* value, kj::uint* length) override {
        inner_->getsockopt(level, option, value, length);
    }
    kj::Maybe<int> getFd() const override { return inner_->getFd(); }

  private:
    size_t takeBuffered(kj::byte* target, size_t size);
    kj::Promise<size_t> fill(kj::byte* target, size_t already, size_t minBytes, size_t maxBytes);
    kj::Promise<void> whenReadAllowed();

    void append(kj::ArrayPtr<const kj::byte> piece);
    void startFlush();
    kj::Promise<void> flush();

    kj::Own<kj::AsyncIoStream> inner_;

    kj::Array<kj::byte> readBuffer_;
    size_t readBegin_ = 0;
    size_t readEnd_ = 0;
    std::uint64_t readTotal_ = 0;
    std::uint64_t readLimit_ = UINT64_MAX;
    kj::Maybe<kj::Function<bool()>> mayRead_;
    kj::Maybe<kj::Own<kj::PromiseFulfiller<void>>> readWaiter_;

    std::vector<kj::byte> pending_; ///< written by our user, not yet handed to the socket
    std::vector<kj::byte> sending_; ///< being handed to the socket
    bool flushing_ = false;
    kj::Maybe<kj::Exception> writeError_;
    kj::ForkedPromise<void> flushed_ = nullptr;
    kj::Promise<void> shuttingDown_ = nullptr;
};

} // namespace brindle::wire
