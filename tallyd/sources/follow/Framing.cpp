// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/follow/Framing.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace brindle::tallyd {

namespace {
/// What libpcap takes for the longest.
constexpr std::uint32_t kLargestPacket = 262'144;
constexpr std::uint32_t kMicrosMagic = 0xA1B2C3D4;
constexpr std::uint32_t kNanosMagic = 0xA1B23C4D;
} // namespace

Frames LineFraming::find(std::string_view bytes, std::uint64_t, Buffer buffer) {
    Frames frames;
    // A writer that keeps its place in a truncated file leaves a hole before its next line.
    if (!isSkipping_)
        frames.passed = std::min(bytes.find_first_not_of('\0'), bytes.size());
    const std::size_t last = bytes.rfind('\n');
    if (last == bytes.npos || last < frames.passed) {
        if (buffer == Buffer::full && frames.passed < bytes.size()) {
            frames.tooLong = isSkipping_ ? 0 : 1;
            isSkipping_ = true;
            frames.passed = bytes.size();
        }
        return frames;
    }
    if (std::exchange(isSkipping_, false))
        frames.passed = bytes.find('\n') + 1;
    frames.length = last + 1 - frames.passed;
    return frames;
}

bool LineFraming::forget() {
    return std::exchange(isSkipping_, false);
}

std::optional<CaptureFraming::Stamps> CaptureFraming::stampsOf(std::string_view start) {
    std::uint32_t magic = 0;
    if (start.size() < sizeof magic)
        return std::nullopt;
    std::memcpy(&magic, start.data(), sizeof magic);
    if (magic == kMicrosMagic)
        return Stamps::micros;
    return magic == kNanosMagic ? std::optional(Stamps::nanos) : std::nullopt;
}

Frames CaptureFraming::find(std::string_view bytes, std::uint64_t offset, Buffer) {
    Frames frames;
    if (offset < kFileHeader) {
        if (bytes.size() < kFileHeader - offset)
            return frames;
        frames.passed = kFileHeader - offset;
    }
    bytes.remove_prefix(frames.passed);
    while (bytes.size() - frames.length >= kPacketHeader) {
        std::uint32_t captured = 0;
        std::memcpy(&captured, bytes.data() + frames.length + 8, sizeof captured);
        if (captured > kLargestPacket) {
            frames.isDamaged = frames.length == 0;
            break;
        }
        if (bytes.size() - frames.length - kPacketHeader < captured)
            break;
        frames.length += kPacketHeader + captured;
    }
    return frames;
}

} // namespace brindle::tallyd
