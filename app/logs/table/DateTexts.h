// SPDX-License-Identifier: BSD-2-Clause
//
// Date texts of many rows, each exactly as dateText writes it. Rows of a log stand close in time,
// so the calendar is asked once a quarter of an hour and not once a row. A value; one thread at a
// time.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace brindle {

class DateTexts {
  public:
    /// Valid until the next call.
    std::string_view text(double epoch);

  private:
    bool enter(std::int64_t quarter);

    std::int64_t quarter_ = 0;
    bool known_ = false;  ///< quarter_ was entered
    bool steady_ = false; ///< the clock runs through quarter_ without a change
    int minute_ = 0;      ///< at its beginning
    std::string text_;
};

} // namespace brindle
