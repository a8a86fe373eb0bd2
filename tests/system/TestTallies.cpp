// SPDX-License-Identifier: BSD-2-Clause
//
// What a list window counts, with a real daemon on the other side, against plain counting over the
// records that the daemon answers.
#include "core/exclusions/ExclusionList.h"
#include "core/log/BrindleHelper.h"
#include "core/log/LogTables.h"
#include "core/stats/TallySet.h"
#include "tests/system/Workshop.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>

namespace brindle::test {
namespace {

using Counts = std::map<std::string, std::int64_t>;

/// The main thread's queue without an event loop: tasks run while the test waits.
class MainTasks final : public platform::DispatchQueue {
  public:
    void async(platform::Task task) override {
        const std::lock_guard lock(mutex_);
        tasks_.push_back(std::move(task));
        came_.notify_one();
    }
    void sync(platform::Task task) override { task(); }
    const std::string& label() const override { return label_; }

    /// Runs tasks until `holds`; false when that takes longer than a while.
    bool until(const std::function<bool()>& holds,
               std::chrono::milliseconds longest = std::chrono::seconds(20)) {
        const auto deadline = std::chrono::steady_clock::now() + longest;
        while (!holds()) {
            platform::Task task;
            {
                std::unique_lock lock(mutex_);
                came_.wait_for(lock, std::chrono::milliseconds(20),
                               [this] { return !tasks_.empty(); });
                if (!tasks_.empty()) {
                    task = std::move(tasks_.front());
                    tasks_.pop_front();
                }
            }
            if (task)
                task();
            if (std::chrono::steady_clock::now() > deadline)
                return holds();
        }
        return true;
    }

  private:
    std::mutex mutex_;
    std::condition_variable came_;
    std::deque<platform::Task> tasks_;
    std::string label_ = "main";
};

struct NoStorage final : ExclusionStorage {
    std::vector<VDXExclusion> read() override { return {}; }
    void store(ExclusionChange, std::vector<VDXExclusion>,
               std::function<void(std::vector<VDXExclusion>)>) override {}
};

/// A list window without its window.
class List final : public ListView {
  public:
    List(const TallyServices& services, const char* action, const char* direction)
        : entry(std::make_shared<ViewEntry>(static_cast<ListView*>(this))),
          tallies(services, action, direction) {
        entry->needrealtime = true;
    }
    void countLiveRecord(const LiveRecordDictionary& record) override {
        tallies.countLiveRecord(record);
    }
    void reloadTallies() override { tallies.reloadTallies(); }

    static Counts counts(const TallyRows& rows) {
        Counts all;
        for (const auto& row : rows.rows())
            all[row->originallabel()] += row->value();
        return all;
    }

    std::shared_ptr<ViewEntry> entry;
    TallySet tallies;
};

class Tallies : public Workshop {
  protected:
    Tallies() {
        services.queues = queues;
        services.exclusions = &exclusions;
        services.portNames = &portNames;
    }
    ~Tallies() override {
        if (services.helper)
            if (const auto connection = services.helper->standingConnection())
                connection->invalidate();
    }
    void connect() {
        services.helper = BrindleHelper::create(
            BrindleHelper::socketFactory(socket()), queues.main, views,
            std::make_unique<LiveFeed>(queues, views, exclusions), [](const std::string&) {});
    }

    /// By address and by port, as the stored records have it.
    static std::pair<Counts, Counts> counted(const std::vector<nlohmann::json>& stored,
                                             const char* action, const char* direction,
                                             double from) {
        std::pair<Counts, Counts> counts;
        const bool in = std::string_view(direction) == "in";
        for (const auto& record : stored) {
            if (record.at("action") != action || record.at("direction") != direction ||
                std::stod(record.at("epoch").get<std::string>()) < from)
                continue;
            ++counts.first[record.at(in ? "srcip" : "dstip")];
            ++counts.second[record.at("dstport")];
        }
        return counts;
    }

    static std::pair<Counts, Counts> shown(const List& list) {
        return {List::counts(list.tallies.arrayip), List::counts(list.tallies.arrayport)};
    }

    static constexpr std::pair<const char*, const char*> kLists[]{
        {"pass", "in"}, {"block", "in"}, {"pass", "out"}, {"block", "out"}};

    std::shared_ptr<MainTasks> main = std::make_shared<MainTasks>();
    platform::Queues queues = platform::makeQueues(main);
    ViewControllers views;
    NoStorage storage;
    ExclusionList exclusions{storage, [] {}};
    PortNames portNames;
    TallyServices services;
};

TEST_F(Tallies, AReloadShowsWhatTheRecordsSayFromAnyStart) {
    import({capture("freebsd", 4000, 1, 3 * 86400), capture("nflog", 2000, 2, 86400),
            capture("openbsd", 1000, 3, 60)});
    serve();
    connect();
    const auto stored = records();
    for (const auto& [action, direction] : kLists)
        for (const double start : {0.0, 1700000000.0, 1700003600.0, 1700090000.5, 1700200000.0}) {
            List list(services, action, direction);
            list.tallies.selectedEpoch = start;
            list.reloadTallies();
            EXPECT_EQ(shown(list), counted(stored, action, direction, start))
                << action << " " << direction << " from " << start;
        }
}

TEST_F(Tallies, EachLiveRecordCountsOnceHoweverOftenAListIsReloadedMeanwhile) {
    constexpr int kBurst = 30000;
    serve({"replay:" + capture("openbsd", kBurst, 7, 60) + "@30"});
    connect();
    std::vector<std::unique_ptr<List>> lists;
    for (const auto& [action, direction] : kLists) {
        lists.push_back(std::make_unique<List>(services, action, direction));
        views.set(std::string(action) + direction, lists.back()->entry);
    }
    services.helper->liveFeedSwitch();
    for (const auto& list : lists)
        list->reloadTallies();
    const auto total = [&] {
        std::int64_t all = 0;
        for (const auto& list : lists)
            for (const auto& row : list->tallies.arrayip.rows())
                all += row->value();
        return all;
    };
    // Reloads in the midst of the burst, each with records on their way.
    for (const std::int64_t reached : {kBurst / 8, kBurst / 4, kBurst / 2}) {
        ASSERT_TRUE(main->until([&] { return total() >= reached; })) << total();
        for (const auto& list : lists)
            list->reloadTallies();
    }
    EXPECT_TRUE(main->until([&] { return total() == kBurst; })) << total();
    EXPECT_FALSE(main->until([&] { return total() != kBurst; }, std::chrono::milliseconds(300)))
        << "counted twice: " << total();
    const auto stored = records();
    for (std::size_t i = 0; i < lists.size(); ++i)
        EXPECT_EQ(shown(*lists[i]), counted(stored, kLists[i].first, kLists[i].second, 0));
    for (const auto& [action, direction] : kLists)
        views.remove(std::string(action) + direction);
    services.helper->liveFeedSwitch();
}

} // namespace
} // namespace brindle::test
