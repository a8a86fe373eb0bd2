// SPDX-License-Identifier: BSD-2-Clause
//
// Answers where an address is: a special location, or the nation of the first database block that
// contains it. Every answer is remembered for the rest of the run. Owned by the composition root;
// all its state belongs to the serial queue "nationinfoqueue".
//
//     row.natinfoip = nationInfo.nationInfo(row.label);      // on a worker thread
#pragma once

#include "core/geo/AnswerCache.h"
#include "core/geo/NationInfoRecord.h"
#include "core/geo/NationPictures.h"
#include "core/geo/NationsDatabase.h"
#include "core/log/records/ImageEffects.h"
#include "platform/queue/DispatchQueue.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace brindle {

class VDXNationInfo {
  public:
    /// `database` and `effects` outlive this. `queue`: the serial one of this object alone.
    VDXNationInfo(const NationsDatabase& database, const ImageEffects& effects,
                  std::shared_ptr<platform::DispatchQueue> queue);

    /// lookupNation inside a synchronous block on the queue. The caller waits, the first time for a
    /// nation also for its pictures: not for the main thread, and not for tasks of that queue.
    NationInfo nationInfo(std::string_view text);

    /// To be called inside blocks on the queue only. Never null: any text gets an answer, and the
    /// same one for the rest of the run.
    NationInfo lookupNation(std::string_view text);

  private:
    /// Answers without the database's help.
    enum class Location { ipv6, unknown, loopback, localNetwork, count };

    using RecordNumber = std::uint32_t;

    RecordNumber decide(std::string_view text);
    RecordNumber at(Location location);
    RecordNumber in(const VDXNationVisualizer& nation);
    RecordNumber add(NationInfoRecord record);
    NationInfoRecord recordOf(Location location);

    const NationsDatabase& database_;
    NationPictures pictures_;
    const std::shared_ptr<platform::DispatchQueue> queue_;
    AnswerCache nationLookupCache_; ///< by address text, exactly as passed: places in records_
    // One record serves every address with that answer.
    std::vector<NationInfo> records_;
    std::unordered_map<std::string, RecordNumber> nations_; ///< by database key
    std::array<std::optional<RecordNumber>, static_cast<std::size_t>(Location::count)> locations_;
};

} // namespace brindle
