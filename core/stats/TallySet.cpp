// SPDX-License-Identifier: BSD-2-Clause
#include "core/stats/TallySet.h"

#include <future>
#include <utility>

namespace brindle {
namespace {

/// Rows of a statistics window from this place on are not told apart by colour.
constexpr std::size_t kColouredRows = 9;

bool isKnownPair(const std::string& action, const std::string& direction) {
    return (action == "pass" || action == "block") && (direction == "in" || direction == "out");
}

/// A hundred thousand rows take their time to go. Those that nobody else holds and that resolve no
/// name, whose timer is the main thread's, go elsewhere.
void letGo(std::vector<TallyRows::Row> rows, platform::DispatchQueue& queue) {
    constexpr std::size_t kFew = 1000;
    if (rows.size() < kFew)
        return;
    std::erase_if(rows, [](const TallyRows::Row& row) {
        return row.use_count() > 1 || row->hasResolution();
    });
    queue.async([gone = std::move(rows)]() mutable { gone.clear(); });
}

} // namespace

const char* addressField(const std::string& direction) {
    return direction == "out" ? "DSTIP" : "SRCIP";
}

bool isCountExcluded(const CountEntry& count, const ExclusionTest& exclusions) {
    if (count.isIP)
        return exclusions.isAddressExcluded(count.label,
                                            count.label.find(':') != std::string::npos ? 6 : 4);
    return count.isPort && exclusions.isPortExcluded(count.label);
}

std::shared_ptr<VisualizerObj> rowFromCount(const CountEntry& count, std::size_t index, Bare bare,
                                            const TallyServices& services) {
    auto row = VisualizerObj::create({.isIP = count.isIP, .isPort = count.isPort}, count.label,
                                     count.value, services.portNames);
    if (bare == Bare::yes)
        return row;
    if (index >= kColouredRows) {
        row->setColor(tallyColours().at(0));
        return row;
    }
    if (row->isIP())
        row->setNationInfo(services);
    row->setNationisset();
    row->setColor(tallyColours().at(static_cast<int>(index) + 1));
    return row;
}

TallySet::TallySet(TallyServices services, std::string action, std::string direction)
    : services_(std::move(services)), action_(std::move(action)), direction_(std::move(direction)),
      addresses_{.rows = arrayip, .kind = {.isIP = true}}, ports_{.rows = arrayport,
                                                                  .kind = {.isPort = true}},
      self_(std::make_shared<TallySet*>(this)) {}

TallySet::~TallySet() = default;

void TallySet::reloadTallies() {
    const bool known = isKnownPair(action_, direction_);
    const Question question{.epoch = selectedEpoch,
                            .action = known ? action_ : "block",
                            .direction = known ? direction_ : "in"};
    // Both lists are asked for at once, each from a thread of its own: a reload takes as long as
    // the longer answer, not as long as both.
    auto ports = std::async(std::launch::async, [&, daemon = services_.helper->synchronousProxy()] {
        return ask(daemon.get(), question, "DSTPORT");
    });
    replace(addresses_, ask(services_.helper->synchronousProxy().get(), question,
                            known ? addressField(direction_) : "SRCIP"));
    replace(ports_, ports.get());
}

TallySet::Answer TallySet::ask(TallydHelperProtocol* daemon, const Question& question,
                               const char* obj) const {
    Answer answer;
    if (daemon == nullptr)
        return answer;
    daemon->getOBJcontWithEpoch(
        question.epoch, question.action, question.direction, obj, [&](CountReply reply) {
            answer.countedThrough = reply.sequence;
            answer.rows.reserve(reply.entries.size());
            for (const CountEntry& count : reply.entries)
                if (!isCountExcluded(count, *services_.exclusions))
                    answer.rows.push_back(rowFromCount(count, 0, Bare::yes, services_));
        });
    return answer;
}

void TallySet::replace(Tally& tally, Answer answer) {
    // What is on its way to the list is in the reply: it was streamed before the daemon answered.
    tally.pendingByLabel.clear();
    tally.pending.clear();
    tally.countedThrough = answer.countedThrough;
    letGo(tally.rows.replace(std::move(answer.rows)), *services_.queues.global);
}

void TallySet::countLiveRecord(const LiveRecordDictionary& record) {
    const std::string* direction = record.text(LiveKey::DIRECTION);
    const std::string* action = record.text(LiveKey::ACTION);
    const std::string* srcip = record.text(LiveKey::SRCIP);
    const std::string* dstip = record.text(LiveKey::DSTIP);
    const std::int64_t* dstport = record.integer(LiveKey::DSTPORT);
    if (!direction || !action || !srcip || !dstip || !dstport)
        return;
    if (*direction != direction_ || *action != action_)
        return;
    const std::int64_t* sequence = record.integer(LiveKey::SEQ);
    const auto number = sequence ? static_cast<std::uint64_t>(*sequence) : 0;
    count(ports_, std::to_string(*dstport), number);
    count(addresses_, direction_ == "in" ? *srcip : *dstip, number);
}

void TallySet::count(Tally& tally, const std::string& label, std::uint64_t sequence) {
    // A record without a number, from a daemon that gives none, always counts.
    if (sequence != 0 && sequence <= tally.countedThrough)
        return;
    if (const TallyRows::Row* row = tally.rows.find(label)) {
        (*row)->setValue((*row)->value() + 1);
        return;
    }
    if (const auto waiting = tally.pendingByLabel.find(label);
        waiting != tally.pendingByLabel.end()) {
        waiting->second->setValue(waiting->second->value() + 1);
        return;
    }
    auto row = VisualizerObj::create(tally.kind, label, 1, services_.portNames);
    if (row->isIP())
        row->setNationInfo(services_);
    tally.pendingByLabel.emplace(row->originallabel(), row.get());
    tally.pending.push_back(std::move(row));
    if (std::exchange(tally.addingQueued, true))
        return;
    services_.queues.main->async([weak = std::weak_ptr(self_), &tally] {
        if (const auto self = weak.lock())
            (*self)->addPending(tally);
    });
}

void TallySet::addPending(Tally& tally) {
    tally.addingQueued = false;
    tally.pendingByLabel.clear();
    for (TallyRows::Row& row : std::exchange(tally.pending, {}))
        tally.rows.add(std::move(row));
}

} // namespace brindle
