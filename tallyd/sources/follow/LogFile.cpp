// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/follow/LogFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

namespace brindle::tallyd {

namespace {

/// Enough to hold a line with its time, at both ends.
constexpr std::uint64_t kHeadBytes = 256;
constexpr std::uint64_t kTailBytes = 1024;
constexpr std::string_view kForm = "file1";

/// FNV-1a: stored, so it must be the same in every build.
std::uint64_t checksum(std::uint64_t sum, std::string_view bytes) {
    for (const char byte : bytes)
        sum = (sum ^ static_cast<unsigned char>(byte)) * 1099511628211u;
    return sum;
}

bool takeNumber(std::string_view& rest, int base, std::uint64_t& number) {
    if (!rest.starts_with(' '))
        return false;
    const auto [end, problem] =
        std::from_chars(rest.data() + 1, rest.data() + rest.size(), number, base);
    rest.remove_prefix(static_cast<std::size_t>(end - rest.data()));
    return problem == std::errc();
}

} // namespace

std::string FilePosition::text() const {
    return fmt::format("{} {} {} {} {:016x}", kForm, device, inode, offset, fingerprint);
}

std::optional<FilePosition> FilePosition::parse(std::string_view text) {
    FilePosition position;
    if (!text.starts_with(kForm))
        return std::nullopt;
    text.remove_prefix(kForm.size());
    if (!takeNumber(text, 10, position.device) || !takeNumber(text, 10, position.inode) ||
        !takeNumber(text, 10, position.offset) || !takeNumber(text, 16, position.fingerprint) ||
        !text.empty() || position.offset == 0)
        return std::nullopt;
    return position;
}

tl::expected<LogFile, std::string> LogFile::open(const std::string& path) {
    const auto failure = [&path](int reason) {
        return tl::unexpected(fmt::format("{}: {}", path, std::strerror(reason)));
    };
    // Without waiting: a pipe would hold us until somebody writes.
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor < 0)
        return failure(errno);
    struct stat status {};
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        ::close(descriptor);
        return S_ISDIR(status.st_mode)
                   ? failure(EISDIR)
                   : tl::unexpected(fmt::format("{}: is not a regular file", path));
    }
    return LogFile(descriptor, status.st_dev, status.st_ino);
}

LogFile::LogFile(LogFile&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)), device_(other.device_),
      inode_(other.inode_) {}

LogFile& LogFile::operator=(LogFile&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    device_ = other.device_;
    inode_ = other.inode_;
    return *this;
}

LogFile::~LogFile() {
    if (descriptor_ >= 0)
        ::close(descriptor_);
}

LogFile::State LogFile::state() const {
    struct stat status {};
    ::fstat(descriptor_, &status);
    return {static_cast<std::uint64_t>(status.st_size),
            status.st_mtim.tv_sec * std::int64_t{1'000'000'000} + status.st_mtim.tv_nsec};
}

std::optional<std::size_t> LogFile::read(std::uint64_t offset, char* buffer,
                                         std::size_t size) const {
    std::size_t have = 0;
    while (have < size) {
        const ssize_t count =
            ::pread(descriptor_, buffer + have, size - have, static_cast<off_t>(offset + have));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return std::nullopt;
        if (count == 0)
            break;
        have += static_cast<std::size_t>(count);
    }
    return have;
}

std::uint64_t LogFile::fingerprint(std::uint64_t offset) const {
    if (offset == 0)
        return 0;
    std::array<char, kTailBytes> bytes;
    std::uint64_t sum = 14695981039346656037u;
    const auto add = [&](std::uint64_t from, std::uint64_t count) {
        sum = checksum(sum, {bytes.data(), read(from, bytes.data(), count).value_or(0)});
    };
    add(0, std::min(offset, kHeadBytes));
    const std::uint64_t tail = std::min(offset, kTailBytes);
    add(offset - tail, tail);
    return sum;
}

} // namespace brindle::tallyd
