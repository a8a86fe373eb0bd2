// SPDX-License-Identifier: BSD-2-Clause
//
// The start of a log line: when it was written, by which program, and where its message begins. In
// all the forms that syslog writers, the kernel and the journal give it. Owned by a line decoder,
// on its thread.
//
//     LineHeaderReader reader;
//     reader.read("Jun  8 14:34:33 gate kernel: [502.08] DROP IN=…", clock).message; // "DROP IN=…"
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace brindle::tallyd {

/// What a line's own time is completed with. All in microseconds since 1970.
struct LineClock {
    /// The time of reading: a stamp without year is taken for the latest that is not more than a
    /// day after this.
    std::int64_t nowMicros = 0;
    /// The time of a line that does not tell one (the journal tells it beside the line).
    std::int64_t fallbackMicros = 0;
    /// When the machine started, for "[seconds.micros]". Without it, or when that leads more than
    /// a day beyond now (another machine's log), the fallback is taken.
    std::optional<std::int64_t> bootMicros;
};

struct LineHeader {
    std::int64_t timeMicros = 0;
    std::string_view program; ///< "kernel", "filterlog", …; empty when the line does not tell
    std::string_view message; ///< without time, host, program and the kernel's "[seconds]"
};

class LineHeaderReader {
  public:
    /// Stamps without a zone are in the machine's local time. The views point into `line`.
    LineHeader read(std::string_view line, const LineClock& clock);

  private:
    struct LocalHour {
        int year = 0;
        int month = 0;
        int day = 0;
        int hour = -1;
        std::int64_t seconds = 0;
    };
    struct Stamp;

    bool readIsoStamp(std::string_view& rest, Stamp& stamp);
    bool readMonthStamp(std::string_view& rest, const LineClock& clock, Stamp& stamp);
    bool readBracketStamp(std::string_view& rest, const LineClock& clock, Stamp& stamp);
    std::int64_t localSeconds(int year, int month, int day, int hour);

    LocalHour lastHour_; ///< neighbouring lines share it, and asking the zone is slow
};

} // namespace brindle::tallyd
