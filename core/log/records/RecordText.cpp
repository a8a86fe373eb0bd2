// SPDX-License-Identifier: BSD-2-Clause
#include "core/log/records/RecordText.h"

#include <charconv>
#include <cmath>
#include <ctime>
#include <limits>

#include <fmt/format.h>

namespace brindle {

std::string dateText(double epoch) {
    // Beyond this a calendar year no longer fits struct tm.
    constexpr double kLargest = 6.0e16;
    if (!(std::fabs(epoch) < kLargest))
        return {};
    const auto seconds = static_cast<std::time_t>(std::floor(epoch));
    std::tm local{};
    if (!localtime_r(&seconds, &local))
        return {};
    return fmt::format("{:04}/{:02}/{:02} {:02}:{:02}:{:02}", local.tm_year + 1900LL,
                       local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
}

std::string epochText(double epoch) {
    // Fixed notation for every time a log can carry, so that other programs read it without effort.
    char buffer[512];
    const auto format =
        std::fabs(epoch) < 1e17 ? std::chars_format::fixed : std::chars_format::general;
    const auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, epoch, format);
    std::string text(buffer, end);
    if (text.find_first_of(".en") == text.npos)
        text += ".0";
    return text;
}

std::optional<double> epochFromText(std::string_view text) {
    double value = 0;
    const char* begin = text.data();
    const char* end = begin + text.size();
    if (text.size() > 1 && *begin == '+' && begin[1] != '-')
        ++begin;
    const auto [stop, error] = std::from_chars(begin, end, value);
    if (error != std::errc() || stop != end || !std::isfinite(value))
        return std::nullopt;
    return value;
}

std::int64_t microsFromEpoch(double epoch) {
    const double micros = epoch * 1e6;
    if (std::isnan(micros))
        return 0;
    // 2^63 itself is a double, the largest 64-bit integer is not.
    constexpr double kLimit = 9223372036854775808.0;
    if (micros >= kLimit)
        return std::numeric_limits<std::int64_t>::max();
    if (micros <= -kLimit)
        return std::numeric_limits<std::int64_t>::min();
    return std::llround(micros);
}

double epochFromMicros(std::int64_t micros) {
    return static_cast<double>(micros) / 1e6;
}

} // namespace brindle
