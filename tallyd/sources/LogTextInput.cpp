// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/LogTextInput.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <sys/stat.h>

#include <fmt/format.h>

namespace brindle::tallyd {

namespace {

/// No packet's line comes near; a file without line feeds must not fill the memory.
constexpr std::size_t kLongestLine = 64 * 1024;
constexpr std::string_view kForeignLine = "not a packet filter's line";
constexpr std::string_view kLongLine = "line is too long";

std::int64_t clockMicros(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return static_cast<std::int64_t>(time.tv_sec) * 1'000'000 + time.tv_nsec / 1000;
}

} // namespace

LineClock clockFor(const InputStream& stream) {
    LineClock clock;
    clock.nowMicros = clockMicros(CLOCK_REALTIME);
    clock.fallbackMicros = clock.nowMicros;
    struct stat status {};
    if (fstat(fileno(stream.file()), &status) == 0 && S_ISREG(status.st_mode))
        clock.fallbackMicros = static_cast<std::int64_t>(status.st_mtime) * 1'000'000;
    clock.bootMicros = clock.nowMicros - clockMicros(CLOCK_MONOTONIC);
    return clock;
}

bool LogTextInput::recognises(std::string_view start) {
    for (const char c : start)
        if (static_cast<unsigned char>(c) < ' ' && c != '\n' && c != '\r' && c != '\t')
            return false;
    return true;
}

LogTextInput::LogTextInput(InputStream stream, LineClock clock, ActionPatterns patterns)
    : stream_(std::move(stream)), clock_(clock), netfilter_(std::move(patterns)) {}

bool LogTextInput::read(std::vector<PacketRecord>& records, std::size_t limit) {
    while (limit > 0) {
        const Line line = readLine();
        if (line == Line::none)
            return false;
        ++lines_;
        if (line == Line::complete && line_.empty())
            continue;
        auto record = line == Line::tooLong
                          ? tl::expected<PacketRecord, std::string_view>(tl::unexpected(kLongLine))
                          : decode(line_);
        if (record) {
            records.push_back(std::move(*record));
            --limit;
        } else {
            ++skipped_[std::string(record.error())];
        }
    }
    return true;
}

tl::expected<PacketRecord, std::string_view> LogTextInput::decode(std::string_view line) {
    if (NetfilterDecoder::recognises(line))
        return netfilter_.decode(line, clock_);
    if (FilterlogDecoder::recognises(line))
        return filterlog_.decode(line, clock_);
    return tl::unexpected(kForeignLine);
}

LogTextInput::Line LogTextInput::readLine() {
    line_.clear();
    Line kind = Line::none;
    int c = 0;
    while ((c = getc_unlocked(stream_.file())) != EOF) {
        if (kind == Line::none)
            kind = Line::complete;
        if (c == '\n')
            return kind;
        if (line_.size() < kLongestLine)
            line_ += static_cast<char>(c);
        else
            kind = Line::tooLong;
    }
    if (std::ferror(stream_.file()) && problem_.empty())
        problem_ =
            fmt::format("{}: after line {}: {}", stream_.name(), lines_, std::strerror(errno));
    return kind;
}

} // namespace brindle::tallyd
