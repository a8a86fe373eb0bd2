// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/header/LineHeader.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <ctime>

namespace brindle::tallyd {

namespace {

constexpr std::int64_t kMicrosPerSecond = 1'000'000;
constexpr std::int64_t kSecondsPerDay = 86'400;
constexpr std::string_view kPrograms[] = {"kernel", "filterlog", "ulogd"};

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool take(std::string_view& rest, char c) {
    if (!rest.starts_with(c))
        return false;
    rest.remove_prefix(1);
    return true;
}

void skipBlanks(std::string_view& rest) {
    rest.remove_prefix(std::min(rest.find_first_not_of(" \t"), rest.size()));
}

/// Exactly `digits` digits.
bool takeNumber(std::string_view& rest, std::size_t digits, int& number) {
    if (rest.size() < digits)
        return false;
    number = 0;
    for (std::size_t i = 0; i < digits; ++i) {
        if (!isDigit(rest[i]))
            return false;
        number = number * 10 + (rest[i] - '0');
    }
    rest.remove_prefix(digits);
    return true;
}

std::string_view takeWord(std::string_view& rest) {
    skipBlanks(rest);
    const std::string_view word = rest.substr(0, rest.find(' '));
    rest.remove_prefix(word.size());
    return word;
}

/// hh:mm:ss with an optional fraction after a point or comma, which is kept to the microsecond.
struct ClockTime {
    int hour = 0;
    int minute = 0;
    int second = 0;
    std::int64_t micros = 0;
    bool hasComma = false;
};

std::int64_t takeFraction(std::string_view& rest) {
    std::int64_t micros = 0;
    std::int64_t unit = kMicrosPerSecond / 10;
    while (!rest.empty() && isDigit(rest.front())) {
        micros += (rest.front() - '0') * unit;
        unit /= 10;
        rest.remove_prefix(1);
    }
    return micros;
}

bool takeClockTime(std::string_view& rest, ClockTime& time) {
    if (!takeNumber(rest, 2, time.hour) || !take(rest, ':') || !takeNumber(rest, 2, time.minute) ||
        !take(rest, ':') || !takeNumber(rest, 2, time.second))
        return false;
    if (time.hour > 23 || time.minute > 59 || time.second > 60)
        return false;
    time.hasComma = rest.starts_with(',');
    if (rest.size() >= 2 && (rest[0] == '.' || rest[0] == ',') && isDigit(rest[1])) {
        rest.remove_prefix(1);
        time.micros = takeFraction(rest);
    }
    return true;
}

bool isDate(int year, int month, int day) {
    return std::chrono::year_month_day(std::chrono::year(year),
                                       std::chrono::month(static_cast<unsigned>(month)),
                                       std::chrono::day(static_cast<unsigned>(day)))
        .ok();
}

std::int64_t utcSeconds(int year, int month, int day, int hour) {
    const std::chrono::sys_days date = std::chrono::year(year) / month / day;
    return date.time_since_epoch().count() * kSecondsPerDay + hour * 3600;
}

/// "Z", "+02:00", "-0130": seconds east of UTC; nothing when there is no zone.
std::optional<int> takeZone(std::string_view& rest) {
    if (take(rest, 'Z'))
        return 0;
    if (!rest.starts_with('+') && !rest.starts_with('-'))
        return std::nullopt;
    std::string_view after = rest.substr(1);
    int hours = 0;
    int minutes = 0;
    if (!takeNumber(after, 2, hours))
        return std::nullopt;
    take(after, ':');
    if (!takeNumber(after, 2, minutes))
        return std::nullopt;
    const int sign = rest.front() == '-' ? -1 : 1;
    rest = after;
    return sign * (hours * 3600 + minutes * 60);
}

int takeMonth(std::string_view& rest) {
    constexpr std::array<std::string_view, 12> kMonths{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const auto found = std::find(kMonths.begin(), kMonths.end(), rest.substr(0, 3));
    if (found == kMonths.end())
        return 0;
    rest.remove_prefix(3);
    return static_cast<int>(found - kMonths.begin()) + 1;
}

bool takeWeekday(std::string_view& rest) {
    constexpr std::array<std::string_view, 7> kDays{"Mon ", "Tue ", "Wed ", "Thu ",
                                                    "Fri ", "Sat ", "Sun "};
    if (std::find(kDays.begin(), kDays.end(), rest.substr(0, 4)) == kDays.end())
        return false;
    rest.remove_prefix(4);
    return true;
}

int yearOf(std::int64_t seconds) {
    const std::chrono::sys_days day{std::chrono::days(seconds / kSecondsPerDay)};
    return static_cast<int>(std::chrono::year_month_day(day).year());
}

/// "kernel:", "filterlog[812]:" and the like as `program`; false for any other word.
bool takeProgram(std::string_view& rest, std::string_view& program) {
    std::string_view after = rest;
    std::string_view word = takeWord(after);
    if (!word.ends_with(':'))
        return false;
    word.remove_suffix(1);
    word = word.substr(0, word.find('['));
    if (std::find(std::begin(kPrograms), std::end(kPrograms), word) == std::end(kPrograms))
        return false;
    program = word;
    rest = after;
    return true;
}

/// RFC 5424's structured data: "-", or elements in brackets whose quoted values may hold any.
void skipStructuredData(std::string_view& rest) {
    skipBlanks(rest);
    if (take(rest, '-'))
        return;
    while (rest.starts_with('[')) {
        bool quoted = false;
        std::size_t at = 1;
        for (; at < rest.size() && (quoted || rest[at] != ']'); ++at) {
            if (rest[at] == '\\')
                ++at;
            else if (rest[at] == '"')
                quoted = !quoted;
        }
        rest.remove_prefix(std::min(at + 1, rest.size()));
    }
}

/// "[  203.842973]", with "[    T12]" (the caller) behind it on some kernels: the seconds.
std::optional<std::int64_t> takeUptime(std::string_view& rest) {
    std::string_view after = rest;
    if (!take(after, '['))
        return std::nullopt;
    skipBlanks(after);
    std::int64_t seconds = 0;
    std::size_t digits = 0;
    for (; !after.empty() && isDigit(after.front()) && digits < 12; ++digits) {
        seconds = seconds * 10 + (after.front() - '0');
        after.remove_prefix(1);
    }
    if (digits == 0 || !take(after, '.'))
        return std::nullopt;
    const std::int64_t micros = takeFraction(after);
    if (!take(after, ']'))
        return std::nullopt;
    rest = after;
    if (after.starts_with('[')) {
        const std::string_view caller = after.substr(1, after.find(']') - 1);
        const auto letter = caller.find_first_not_of(' ');
        if (letter != caller.npos && (caller[letter] == 'T' || caller[letter] == 'C') &&
            caller.find_first_not_of("0123456789", letter + 1) == caller.npos)
            rest.remove_prefix(std::min(caller.size() + 2, rest.size()));
    }
    return seconds * kMicrosPerSecond + micros;
}

} // namespace

/// A stamp that was found, and what the form of it says about what follows.
struct LineHeaderReader::Stamp {
    std::int64_t micros = 0;
    bool hostFollows = false;
};

std::int64_t LineHeaderReader::localSeconds(int year, int month, int day, int hour) {
    if (lastHour_.hour != hour || lastHour_.day != day || lastHour_.month != month ||
        lastHour_.year != year) {
        std::tm parts{};
        parts.tm_year = year - 1900;
        parts.tm_mon = month - 1;
        parts.tm_mday = day;
        parts.tm_hour = hour;
        parts.tm_isdst = -1;
        lastHour_ = {year, month, day, hour, static_cast<std::int64_t>(std::mktime(&parts))};
    }
    return lastHour_.seconds;
}

bool LineHeaderReader::readIsoStamp(std::string_view& rest, Stamp& stamp) {
    std::string_view after = rest;
    int year = 0, month = 0, day = 0;
    ClockTime time;
    if (!takeNumber(after, 4, year) || !take(after, '-') || !takeNumber(after, 2, month) ||
        !take(after, '-') || !takeNumber(after, 2, day) ||
        !(take(after, 'T') || take(after, ' ')) || !takeClockTime(after, time) ||
        !isDate(year, month, day))
        return false;
    const std::optional<int> east = takeZone(after);
    const std::int64_t hour = east ? utcSeconds(year, month, day, time.hour) - *east
                                   : localSeconds(year, month, day, time.hour);
    stamp.micros = (hour + time.minute * 60 + time.second) * kMicrosPerSecond + time.micros;
    // dmesg writes a comma, and no host.
    stamp.hostFollows = !time.hasComma;
    rest = after;
    return true;
}

bool LineHeaderReader::readMonthStamp(std::string_view& rest, const LineClock& clock,
                                      Stamp& stamp) {
    std::string_view after = rest;
    const bool hasWeekday = takeWeekday(after);
    const int month = takeMonth(after);
    if (month == 0 || !take(after, ' '))
        return false;
    skipBlanks(after);
    int day = 0;
    ClockTime time;
    if (!(takeNumber(after, 2, day) || takeNumber(after, 1, day)) || !take(after, ' ') ||
        !takeClockTime(after, time) || !isDate(2000, month, day))
        return false;

    const auto at = [&](int year) {
        return (localSeconds(year, month, day, time.hour) + time.minute * 60 + time.second) *
                   kMicrosPerSecond +
               time.micros;
    };
    int year = 0;
    std::string_view withYear = after;
    if (hasWeekday && take(withYear, ' ') && takeNumber(withYear, 4, year) &&
        isDate(year, month, day)) {
        stamp.micros = at(year);
        after = withYear;
    } else {
        // One year on because the local year may be ahead of UTC's. The zone is asked only where
        // it can matter.
        const std::int64_t latest = clock.nowMicros / kMicrosPerSecond + kSecondsPerDay;
        const auto isTooLate = [&](int candidate) {
            return utcSeconds(candidate, month, day, 0) - 2 * kSecondsPerDay > latest ||
                   at(candidate) > latest * kMicrosPerSecond;
        };
        year = yearOf(latest) + 1;
        while (!isDate(year, month, day) || isTooLate(year))
            --year;
        stamp.micros = at(year);
    }
    stamp.hostFollows = true;
    rest = after;
    return true;
}

bool LineHeaderReader::readBracketStamp(std::string_view& rest, const LineClock& clock,
                                        Stamp& stamp) {
    std::string_view after = rest;
    if (const auto uptime = takeUptime(after)) {
        const std::int64_t latest = clock.nowMicros + kSecondsPerDay * kMicrosPerSecond;
        const bool isOurs = clock.bootMicros && *clock.bootMicros + *uptime <= latest;
        stamp.micros = isOurs ? *clock.bootMicros + *uptime : clock.fallbackMicros;
    } else { // "[Mon Jun  8 14:34:33 2026]", as dmesg writes it for people
        Stamp inside;
        if (!take(after, '[') || !readMonthStamp(after, clock, inside) || !take(after, ']'))
            return false;
        stamp.micros = inside.micros;
    }
    stamp.hostFollows = false;
    rest = after;
    return true;
}

LineHeader LineHeaderReader::read(std::string_view line, const LineClock& clock) {
    LineHeader header;
    std::string_view rest = line;
    skipBlanks(rest);
    if (rest.starts_with('<') && rest.find('>') <= 4)
        rest.remove_prefix(rest.find('>') + 1);

    Stamp stamp{clock.fallbackMicros, false};
    std::string_view versioned = rest;
    if (take(versioned, '1') && take(versioned, ' ') &&
        (readIsoStamp(versioned, stamp) || take(versioned, '-'))) {
        rest = versioned;
        takeWord(rest); // host
        header.program = takeWord(rest);
        takeWord(rest); // process
        takeWord(rest); // kind of message
        skipStructuredData(rest);
        skipBlanks(rest);
        if (constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
            rest.starts_with(kByteOrderMark))
            rest.remove_prefix(kByteOrderMark.size());
    } else if (readIsoStamp(rest, stamp) || readMonthStamp(rest, clock, stamp) ||
               readBracketStamp(rest, clock, stamp)) {
        if (!takeProgram(rest, header.program) && stamp.hostFollows) {
            takeWord(rest);
            takeProgram(rest, header.program);
        }
    } else {
        takeProgram(rest, header.program);
    }
    skipBlanks(rest);
    takeUptime(rest);
    skipBlanks(rest);
    header.timeMicros = stamp.micros;
    header.message = rest;
    return header;
}

} // namespace brindle::tallyd
