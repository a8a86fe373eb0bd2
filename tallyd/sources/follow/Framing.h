// SPDX-License-Identifier: BSD-2-Clause
//
// Where in a growing file its parts begin and end: lines, or the packets of a capture. Owned by the
// FileFollower that reads the file, on its thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace brindle::tallyd {

/// What the next bytes of a file are: first some that are no part, then whole parts; the rest waits
/// for more.
struct Frames {
    std::size_t passed = 0;
    std::size_t length = 0;
    std::uint64_t tooLong = 0; ///< parts that were found to be passed over
    bool isDamaged = false;    ///< no part can be found from here on
};

class Framing {
  public:
    enum class Buffer { hasRoom, full }; ///< a part that does not fit a full one is too long

    virtual ~Framing() = default;
    /// `bytes`: what stands at `offset`.
    virtual Frames find(std::string_view bytes, std::uint64_t offset, Buffer buffer) = 0;
    /// Another place follows. Whether the last bytes were part of something counted already.
    virtual bool forget() = 0;
};

/// Lines, each with its line feed.
class LineFraming final : public Framing {
  public:
    Frames find(std::string_view bytes, std::uint64_t offset, Buffer buffer) override;
    bool forget() override;

  private:
    bool isSkipping_ = false; ///< in the middle of a line that is too long
};

/// Packets of a pcap file in this machine's byte order, each with its header. The file's own header
/// is passed over.
class CaptureFraming final : public Framing {
  public:
    static constexpr std::size_t kFileHeader = 24;
    static constexpr std::size_t kPacketHeader = 16;

    enum class Stamps { micros, nanos };
    /// What a file that starts with these bytes (4 are enough) gives its packets' times in; nothing
    /// for one of any other kind.
    static std::optional<Stamps> stampsOf(std::string_view start);

    Frames find(std::string_view bytes, std::uint64_t offset, Buffer buffer) override;
    bool forget() override { return false; }
};

} // namespace brindle::tallyd
