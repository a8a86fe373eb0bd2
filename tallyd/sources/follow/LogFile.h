// SPDX-License-Identifier: BSD-2-Clause
//
// A log file that is open, whatever it is called by now, and the place in it where reading stands.
// Owned by a FileFollower, on its thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <tl/expected.hpp>

namespace brindle::tallyd {

/// Where reading stands, told so that a later run of the daemon finds the place again, or notices
/// that it is gone.
struct FilePosition {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t offset = 0; ///< of the first byte not yet read; never the file's first
    /// Of what stands before the offset: a number of a file is used again once that file is gone.
    std::uint64_t fingerprint = 0;

    std::string text() const;
    static std::optional<FilePosition> parse(std::string_view text);

    friend bool operator==(const FilePosition&, const FilePosition&) = default;
};

class LogFile {
  public:
    /// Regular files only; never waits. Error: one line naming the path and the reason.
    static tl::expected<LogFile, std::string> open(const std::string& path);
    LogFile(LogFile&& other) noexcept;
    LogFile& operator=(LogFile&& other) noexcept;
    ~LogFile();

    std::uint64_t device() const { return device_; }
    std::uint64_t inode() const { return inode_; }
    bool isSameAs(const LogFile& other) const {
        return device_ == other.device_ && inode_ == other.inode_;
    }

    struct State {
        std::uint64_t size = 0;
        std::int64_t changedNanos = 0; ///< since 1970

        friend bool operator==(const State&, const State&) = default;
    };
    State state() const;

    /// Bytes put into `buffer`, 0 at the end; nothing when the disk refuses, with errno.
    std::optional<std::size_t> read(std::uint64_t offset, char* buffer, std::size_t size) const;
    /// A checksum of the file's first bytes and of those before `offset`; 0 for offset 0.
    std::uint64_t fingerprint(std::uint64_t offset) const;
    FilePosition position(std::uint64_t offset) const {
        return {device_, inode_, offset, fingerprint(offset)};
    }

  private:
    LogFile(int descriptor, std::uint64_t device, std::uint64_t inode)
        : descriptor_(descriptor), device_(device), inode_(inode) {}

    int descriptor_ = -1;
    std::uint64_t device_ = 0;
    std::uint64_t inode_ = 0;
};

} // namespace brindle::tallyd
