// SPDX-License-Identifier: BSD-2-Clause
//
// The nations and the IPv4 address blocks assigned to them, read once at start-up from the file
// that the firewall application keeps. Owned by the composition root. The import runs on the main
// thread before the first look-up; after it the database only answers, on any thread.
//
//     NationsDatabase nations(console, effects);
//     nations.importNationsDB();
//     VDXNationInfo nationInfo(nations, effects, queues.nationInfo);
#pragma once

#include "core/geo/NationBlockIndex.h"
#include "core/geo/VDXNationVisualizer.h"
#include "core/log/records/ImageEffects.h"
#include "platform/plist/TextArrays.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace brindle {

/// Where the firewall application keeps the database.
inline constexpr const char* kNationsDatabasePath =
    "/Library/Application Support/Vardex/NationsDB/worldCIDR.plist";

class NationsDatabase {
  public:
    /// `console` writes one line on standard output. `pictures` outlives the database.
    NationsDatabase(std::function<void(const std::string& line)> console,
                    const ImageEffects& pictures, std::string path = kNationsDatabasePath);

    /// Reads the file, a property list of block texts by nation key, and says on the console how
    /// many nations there are now. A file that is missing or no property list also gives an error
    /// line; it and one of another shape leave the database as it was.
    void importNationsDB();

    /// In the order of the file's keys, which is the order in which look-ups try them.
    const std::vector<VDXNationVisualizer>& nationsDatabase() const { return nationsDatabase_; }

    /// The nation of the first block that contains the address: nations in their order, within each
    /// its blocks. Texts that are no block contain none. Null when there is no such block. Valid
    /// until the next import.
    const VDXNationVisualizer* firstMatch(std::uint32_t address) const;

  private:
    void replace(platform::TextArrays lists);

    const std::function<void(const std::string&)> console_;
    const ImageEffects& pictures_;
    const std::string path_;
    std::vector<VDXNationVisualizer> nationsDatabase_;
    NationBlockIndex index_; ///< owners are places in nationsDatabase_
};

} // namespace brindle
