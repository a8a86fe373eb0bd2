// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/wire/BufferedStream.h"

#include <algorithm>
#include <cstring>

namespace brindle::wire {

namespace {
constexpr size_t kBufferBytes = 64 * 1024;
}

BufferedStream::BufferedStream(kj::Own<kj::AsyncIoStream> inner)
    : inner_(kj::mv(inner)), readBuffer_(kj::heapArray<kj::byte>(kBufferBytes)) {}

size_t BufferedStream::takeBuffered(kj::byte* target, size_t size) {
    const size_t count = std::min(size, readEnd_ - readBegin_);
    if (count > 0) // the target of an empty read may be null
        std::memcpy(target, readBuffer_.begin() + readBegin_, count);
    readBegin_ += count;
    return count;
}

kj::Promise<size_t> BufferedStream::tryRead(void* buffer, size_t minBytes, size_t maxBytes) {
    auto* target = static_cast<kj::byte*>(buffer);
    const size_t count = takeBuffered(target, maxBytes);
    if (count >= minBytes)
        return count;
    return whenReadAllowed().then([this, target, count, minBytes, maxBytes] {
        return fill(target, count, minBytes, maxBytes);
    });
}

kj::Promise<size_t> BufferedStream::fill(kj::byte* target, size_t already, size_t minBytes,
                                         size_t maxBytes) {
    if (readTotal_ >= readLimit_)
        return already;
    // What does not fit the buffer anyway goes straight to where it is wanted.
    if (minBytes - already >= kBufferBytes) {
        return inner_->tryRead(target + already, minBytes - already, maxBytes - already)
            .then([this, already](size_t count) {
                readTotal_ += count;
                return already + count;
            });
    }
    return inner_->tryRead(readBuffer_.begin(), 1, kBufferBytes)
        .then([this, target, already, minBytes, maxBytes](size_t count) -> kj::Promise<size_t> {
            readTotal_ += count;
            readBegin_ = 0;
            readEnd_ = count;
            const size_t have = already + takeBuffered(target + already, maxBytes - already);
            if (count == 0 || have >= minBytes)
                return have;
            return fill(target, have, minBytes, maxBytes);
        });
}

kj::Promise<void> BufferedStream::whenReadAllowed() {
    KJ_IF_MAYBE (mayRead, mayRead_) {
        if (!(*mayRead)()) {
            auto waiting = kj::newPromiseAndFulfiller<void>();
            readWaiter_ = kj::mv(waiting.fulfiller);
            return waiting.promise.then([this] { return whenReadAllowed(); });
        }
    }
    return kj::READY_NOW;
}

void BufferedStream::append(kj::ArrayPtr<const kj::byte> piece) {
    pending_.insert(pending_.end(), piece.begin(), piece.end());
}

kj::Promise<void> BufferedStream::write(const void* buffer, size_t size) {
    const kj::ArrayPtr<const kj::byte> piece(static_cast<const kj::byte*>(buffer), size);
    KJ_IF_MAYBE (error, writeError_)
        return kj::cp(*error);
    if (pending_.size() + size <= kBufferBytes) {
        append(piece);
        startFlush();
        return kj::READY_NOW;
    }
    startFlush();
    return flushed_.addBranch().then([this, piece]() -> kj::Promise<void> {
        KJ_IF_MAYBE (error, writeError_)
            return kj::cp(*error);
        return inner_->write(piece.begin(), piece.size()).then([this] { startFlush(); });
    });
}

kj::Promise<void> BufferedStream::write(kj::ArrayPtr<const kj::ArrayPtr<const kj::byte>> pieces) {
    KJ_IF_MAYBE (error, writeError_)
        return kj::cp(*error);
    size_t size = pending_.size();
    for (const auto& piece : pieces)
        size += piece.size();
    if (size <= kBufferBytes) {
        for (const auto& piece : pieces)
            append(piece);
        startFlush();
        return kj::READY_NOW;
    }
    startFlush();
    return flushed_.addBranch().then([this, pieces]() -> kj::Promise<void> {
        KJ_IF_MAYBE (error, writeError_)
            return kj::cp(*error);
        return inner_->write(pieces).then([this] { startFlush(); });
    });
}

// Also begun after a write that went past the buffer, for the one who waits to read.
void BufferedStream::startFlush() {
    if (flushing_)
        return;
    flushing_ = true;
    flushed_ = kj::evalLast([this] { return flush(); })
                   .catch_([this](kj::Exception&& error) {
                       writeError_ = kj::mv(error);
                       flushing_ = false;
                   })
                   .fork();
}

kj::Promise<void> BufferedStream::flush() {
    KJ_IF_MAYBE (waiter, readWaiter_) {
        (*waiter)->fulfill();
        readWaiter_ = nullptr;
    }
    if (pending_.empty()) {
        flushing_ = false;
        return kj::READY_NOW;
    }
    sending_.clear();
    sending_.swap(pending_);
    return inner_->write(sending_.data(), sending_.size()).then([this] { return flush(); });
}

void BufferedStream::shutdownWrite() {
    if (!flushing_) {
        inner_->shutdownWrite();
        return;
    }
    shuttingDown_ = flushed_.addBranch()
                        .then([this] { inner_->shutdownWrite(); })
                        .eagerlyEvaluate([](kj::Exception&&) {}); // the peer is gone already
}

} // namespace brindle::wire
