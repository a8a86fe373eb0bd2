// SPDX-License-Identifier: BSD-2-Clause
//
// What a list view counts: addresses and destination ports of one action and direction since its
// start epoch. Asks the daemon for both tallies, drops what the exclusion list hides, and adds each
// live record as it arrives, each record once. Owned by the list view; main thread, but for the
// asking: a reload asks for the second tally from a thread that it waits for.
//
//     TallySet tallies(services, "block", "in");
//     tallies.selectedEpoch = periods.bootEpoch;
//     tallies.reloadTallies();
#pragma once

#include "core/log/records/RecordDictionary.h"
#include "core/stats/TallyRows.h"
#include "core/stats/TallyServices.h"
#include "protocol/TallydHelperProtocol.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace brindle {

class TallySet {
  public:
    /// `action`: "pass" or "block", `direction`: "in" or "out"; any other pair counts as "block"
    /// and "in" when it is asked for.
    TallySet(TallyServices services, std::string action, std::string direction);
    ~TallySet();

    const std::string& action() const { return action_; }
    const std::string& direction() const { return direction_; }
    double selectedEpoch = 0; ///< start of this view's own requests, seconds since 1970

    TallyRows arrayip;
    TallyRows arrayport;

    /// Asks for both tallies, side by side, and replaces the rows. Waits for the daemon. A request
    /// that fails, or cannot be sent, leaves its list empty.
    void reloadTallies();
    /// A live record that passed the exclusion test. One without direction, action, addresses or
    /// destination port is left out.
    void countLiveRecord(const LiveRecordDictionary& record);

  private:
    struct Tally {
        TallyRows& rows;
        VisualizerObj::Kind kind;
        std::uint64_t countedThrough = 0; ///< sequence number of the last record in the reply
        /// Rows of live records that the main queue has not added yet, in the order they came.
        std::vector<TallyRows::Row> pending{};
        std::unordered_map<std::string_view, VisualizerObj*> pendingByLabel{};
        bool addingQueued = false;
    };

    struct Question {
        double epoch = 0;
        std::string action;
        std::string direction;
    };
    struct Answer {
        std::vector<TallyRows::Row> rows;
        std::uint64_t countedThrough = 0;
    };

    /// Any thread. Null: nothing is asked.
    Answer ask(TallydHelperProtocol* daemon, const Question& question, const char* obj) const;
    void replace(Tally& tally, Answer answer);
    void count(Tally& tally, const std::string& label, std::uint64_t sequence);
    void addPending(Tally& tally);

    const TallyServices services_;
    const std::string action_;
    const std::string direction_;
    Tally addresses_;
    Tally ports_;
    std::shared_ptr<TallySet*> self_; ///< tasks on the main queue may come after our end
};

/// The field that is counted for addresses: "SRCIP" inbound, "DSTIP" outbound.
const char* addressField(const std::string& direction);

/// The exclusion list hides the row that this count would become.
bool isCountExcluded(const CountEntry& count, const ExclusionTest& exclusions);

enum class Bare : bool { no, yes };
/// A row from an element of a count reply. `bare`: without colour and nation look-up (list views);
/// else `index`, its place in the reply, decides about both.
std::shared_ptr<VisualizerObj> rowFromCount(const CountEntry& count, std::size_t index, Bare bare,
                                            const TallyServices& services);

} // namespace brindle
