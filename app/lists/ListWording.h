// SPDX-License-Identifier: BSD-2-Clause
//
// The sentences of a list window: title, headings, status line, and what stands in an empty table.
// Pure functions; main thread.
#pragma once

#include <QString>

#include <cstdint>
#include <string>

namespace brindle {

/// "Blocked Inbound"; empty for a pair of action and direction that there is no list of.
QString listTitle(const std::string& action, const std::string& direction);
/// The name of the picture of action and direction.
QString verdictPicture(const std::string& action, const std::string& direction);
/// What the address table lists: "Sources" inbound, "Destinations" outbound.
QString addressHeading(const std::string& direction);

/// One of the two tables.
struct ListCounts {
    std::size_t shown = 0; ///< rows that pass the filter
    std::size_t total = 0;

    friend bool operator==(const ListCounts&, const ListCounts&) = default;
};
/// "1,203", or "12 of 1,203" while a filter hides rows.
QString countText(const ListCounts& counts);

struct ListStatus {
    bool connected = false;
    std::int64_t liveRate = 0; ///< records of this list a second
    ListCounts addresses;
    ListCounts ports;
    std::int64_t records = 0;
    double since = 0; ///< seconds since 1970; 0: from the first record on
};
QString statusText(const ListStatus& status);

enum class ListedThing { addresses, ports };
/// Empty while there are rows to see.
QString emptyListText(const ListStatus& status, ListedThing thing);

} // namespace brindle
