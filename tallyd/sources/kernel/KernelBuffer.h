// SPDX-License-Identifier: BSD-2-Clause
//
// Reads the packet filter's lines from the kernel's own buffer of messages, /dev/kmsg. See
// SourceReader for who calls it.
#pragma once

#include "tallyd/sources/lines/LineDecoder.h"
#include "tallyd/sources/live/PlaceKeeper.h"
#include "tallyd/sources/live/SourceReader.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <tl/expected.hpp>

namespace brindle::tallyd {

/// One message of the buffer.
struct KernelMessage {
    std::uint64_t sequence = 0;    ///< counted from the machine's start
    std::int64_t uptimeMicros = 0; ///< by the clock that the kernel stamps its messages with
    bool isOfKernel = false;       ///< and not written to the buffer by a program
    std::string text;

    /// `record`: what one read of /dev/kmsg gives. Nothing for anything else.
    static std::optional<KernelMessage> parse(std::string_view record);
};

class KernelBuffer final : public SourceReader {
  public:
    /// A descriptor whose each read gives one message and does not wait, as the device does; or -1
    /// with errno.
    using OpenDevice = std::function<int()>;

    /// `bootId`: another one after each start of the machine, when messages are counted anew.
    /// `patterns`: what a line's prefix means.
    KernelBuffer(OpenDevice openDevice, std::string bootId,
                 ActionPatterns patterns = ActionPatterns());
    /// The buffer of this machine.
    static std::unique_ptr<KernelBuffer> ofThisMachine(ActionPatterns patterns = ActionPatterns());
    ~KernelBuffer() override;

    tl::expected<void, std::string> open() override;
    std::string read(SourceFeed& feed) override;

  private:
    enum class Outcome { record, none, failure };

    void recallPlace(const SourceFeed& feed);
    std::string place() const;
    Outcome readOne();
    void take(KernelMessage message, SourceFeed& feed);
    std::int64_t timeOf(const KernelMessage& message);
    void handOn(SourceFeed& feed);
    void close();

    const OpenDevice openDevice_;
    const std::string bootId_;
    const std::unique_ptr<LineDecoder> decoder_;
    int device_ = -1;
    std::vector<char> buffer_;
    std::size_t length_ = 0;            ///< of the message in it
    std::optional<std::uint64_t> next_; ///< the sequence number expected next
    /// What the kernel's clock is behind the wall clock: told by a message that was just written.
    std::optional<std::int64_t> clockOffset_;
    bool isFresh_ = false; ///< the next message woke us
    std::vector<PacketRecord> records_;
    std::map<std::string_view, std::uint64_t> undecoded_;
    PlaceKeeper keeper_;
};

} // namespace brindle::tallyd
