// SPDX-License-Identifier: BSD-2-Clause
#include "app/logs/table/DateTexts.h"

#include "core/log/records/RecordText.h"

#include <cmath>

namespace brindle {
namespace {

constexpr std::int64_t kQuarter = 900;
constexpr std::size_t kLength = 19; ///< "2023/11/14 22:13:20"
constexpr std::size_t kMinute = 14;
constexpr std::size_t kSecond = 17;

int twoDigits(const std::string& text, std::size_t at) {
    return (text[at] - '0') * 10 + (text[at + 1] - '0');
}

void writeTwoDigits(std::string& text, std::size_t at, int value) {
    text[at] = static_cast<char>('0' + value / 10);
    text[at + 1] = static_cast<char>('0' + value % 10);
}

} // namespace

bool DateTexts::enter(std::int64_t quarter) {
    if (known_ && quarter == quarter_)
        return steady_;
    known_ = true;
    quarter_ = quarter;
    const auto begin = static_cast<double>(quarter * kQuarter);
    text_ = dateText(begin);
    if (text_.size() != kLength)
        return steady_ = false;
    minute_ = twoDigits(text_, kMinute);
    // An offset of odd seconds, or a change of the clock within the quarter, shows at its end.
    std::string last = text_;
    writeTwoDigits(last, kMinute, minute_ + 14);
    writeTwoDigits(last, kSecond, 59);
    return steady_ = minute_ % 15 == 0 && twoDigits(text_, kSecond) == 0 &&
                     dateText(begin + kQuarter - 1) == last;
}

std::string_view DateTexts::text(double epoch) {
    constexpr double kFarthest = 1e11; // the year 5138; beyond it years have more digits
    if (std::fabs(epoch) < kFarthest) {
        const auto seconds = static_cast<std::int64_t>(std::floor(epoch));
        const std::int64_t quarter = (seconds >= 0 ? seconds : seconds - kQuarter + 1) / kQuarter;
        if (enter(quarter)) {
            const auto within = static_cast<int>(seconds - quarter * kQuarter);
            writeTwoDigits(text_, kMinute, minute_ + within / 60);
            writeTwoDigits(text_, kSecond, within % 60);
            return text_;
        }
    }
    known_ = false;
    text_ = dateText(epoch);
    return text_;
}

} // namespace brindle
