// SPDX-License-Identifier: BSD-2-Clause
#include "core/log/LiveFeed.h"

#include <deque>
#include <mutex>
#include <utility>
#include <vector>

namespace brindle {

/// Shared with the tasks on the queues, so that a feed may go while they are on their way.
///
/// Each of the two ways has a list of what waits and a flag that says whether a task is already on
/// its way to take it: while the views are busy the lists grow, and one task takes them all.
struct LiveFeed::State : std::enable_shared_from_this<LiveFeed::State> {
    State(platform::Queues q, ViewControllers& v, const ExclusionTest& e)
        : queues(std::move(q)), views(v), exclusions(e) {}

    struct Handoff {
        std::shared_ptr<ViewEntry> entry;
        std::shared_ptr<const LiveRecordDictionary> record;
    };

    void handToLists(std::vector<Handoff> handoffs);
    void handToLogs(std::vector<Handoff> handoffs);
    void deliverLists();
    void convertLogs();

    const platform::Queues queues;
    ViewControllers& views;
    const ExclusionTest& exclusions;

    std::mutex mutex;
    std::vector<Handoff> forLists;
    bool listsOnTheirWay = false;
    std::deque<Handoff> forLogs;
    bool logsOnTheirWay = false;
};

LiveFeed::LiveFeed(platform::Queues queues, ViewControllers& views, const ExclusionTest& exclusions)
    : state_(std::make_shared<State>(std::move(queues), views, exclusions)) {}

LiveFeed::~LiveFeed() = default;

void LiveFeed::receive(LiveRecordDictionary record) {
    const std::string* srcip = record.text(LiveKey::SRCIP);
    const std::string* dstip = record.text(LiveKey::DSTIP);
    const std::int64_t* srcport = record.integer(LiveKey::SRCPORT);
    const std::int64_t* dstport = record.integer(LiveKey::DSTPORT);
    const std::int64_t* version = record.integer(LiveKey::IPVER);
    // A record that cannot be tested cannot be shown: it might be one that is hidden.
    if (!srcip || !dstip || !srcport || !dstport || !version)
        return;
    const int family = *version == 4 ? 4 : *version == 6 ? 6 : 0;
    if (state_->exclusions.isExcluded(*srcip, std::to_string(*srcport), *dstip,
                                      std::to_string(*dstport), family))
        return;

    const auto shared = std::make_shared<const LiveRecordDictionary>(std::move(record));
    std::vector<State::Handoff> lists;
    std::vector<State::Handoff> logs;
    for (const auto& [name, entry] : *state_->views.snapshot()) {
        if (entry->kind == ViewEntry::Kind::list)
            lists.push_back({entry, shared});
        else if (entry->kind == ViewEntry::Kind::logs && entry->needrealtime)
            logs.push_back({entry, shared});
    }
    if (!lists.empty())
        state_->handToLists(std::move(lists));
    if (!logs.empty())
        state_->handToLogs(std::move(logs));
}

void LiveFeed::State::handToLists(std::vector<Handoff> handoffs) {
    const std::lock_guard lock(mutex);
    forLists.insert(forLists.end(), std::make_move_iterator(handoffs.begin()),
                    std::make_move_iterator(handoffs.end()));
    if (std::exchange(listsOnTheirWay, true))
        return;
    queues.realTimeLog->async([self = shared_from_this()] {
        self->queues.main->async([self] { self->deliverLists(); });
    });
}

void LiveFeed::State::deliverLists() {
    std::vector<Handoff> taken;
    {
        const std::lock_guard lock(mutex);
        taken.swap(forLists);
        listsOnTheirWay = false;
    }
    for (const Handoff& handoff : taken)
        if (handoff.entry->list)
            handoff.entry->list->countLiveRecord(*handoff.record);
}

void LiveFeed::State::handToLogs(std::vector<Handoff> handoffs) {
    const std::lock_guard lock(mutex);
    for (Handoff& handoff : handoffs)
        forLogs.push_back(std::move(handoff));
    // Older ones would be pushed out of the table by these before anyone saw them.
    while (forLogs.size() > kLiveRows)
        forLogs.pop_front();
    if (std::exchange(logsOnTheirWay, true))
        return;
    queues.global->async([self = shared_from_this()] { self->convertLogs(); });
}

void LiveFeed::State::convertLogs() {
    std::deque<Handoff> taken;
    {
        const std::lock_guard lock(mutex);
        taken.swap(forLogs);
    }
    std::vector<std::pair<std::shared_ptr<ViewEntry>, RecordDictionary>> converted;
    converted.reserve(taken.size());
    for (const Handoff& handoff : taken)
        if (auto record = convertLiveRecord(*handoff.record))
            converted.emplace_back(handoff.entry, std::move(*record));
    queues.main->async([self = shared_from_this(), converted = std::move(converted)] {
        for (const auto& [entry, record] : converted)
            if (entry->logs)
                entry->logs->addLiveRecord(record);
        bool more = false;
        {
            const std::lock_guard lock(self->mutex);
            more = !self->forLogs.empty();
            self->logsOnTheirWay = more;
        }
        if (more)
            self->queues.global->async([self] { self->convertLogs(); });
    });
}

} // namespace brindle
