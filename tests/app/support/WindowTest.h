// SPDX-License-Identifier: BSD-2-Clause
//
// What the tests of windows share: a fake daemon, and with it everything that the composition root
// would hand to a window. For test programs only.
#pragma once

#include "app/AppContext.h"
#include "app/images/PictureStore.h"
#include "platform/queue/main/MainQueue.h"
#include "tests/app/support/FakeDaemon.h"

#include <gtest/gtest.h>

#include <QTest>

#include <functional>
#include <set>
#include <string>
#include <vector>

namespace brindle::test {

struct FakeExclusions final : ExclusionTest, ExclusionCommands {
    std::set<std::string, std::less<>> sources;
    std::vector<VDXExclusion> added;

    bool isExcluded(std::string_view srcip, std::string_view, std::string_view, std::string_view,
                    int) const override {
        return sources.contains(srcip);
    }
    bool isPortExcluded(std::string_view) const override { return false; }
    bool isAddressExcluded(std::string_view address, int) const override {
        return sources.contains(address);
    }
    void addExclusion(VDXExclusion exclusion) override { added.push_back(std::move(exclusion)); }
};

struct FakeLink final : FirewallLink {
    std::vector<std::vector<std::string>> blackLists;
    void blackListAddresses(std::vector<std::string> addresses) override {
        blackLists.push_back(std::move(addresses));
    }
    std::vector<std::vector<std::string>> sent;
    void sendAddresses(std::vector<std::string> addresses) override {
        sent.push_back(std::move(addresses));
    }
};

struct FakeWindow final : WindowController {
    int presented = 0;
    void present() override { ++presented; }
    void close() override {}
};

struct Sample {
    std::string src = "192.0.2.1";
    std::string dst = "198.51.100.7";
    std::string action = "pass";
    std::string direction = "in";
    double epoch = 1700000000;
    std::uint16_t srcport = 51234;
    std::uint16_t dstport = 443;
};

inline std::shared_ptr<const RecordBatch> batchOf(const std::vector<Sample>& samples) {
    RecordBatchBuilder builder;
    for (const Sample& sample : samples) {
        builder.add({.epoch = sample.epoch,
                     .uid = 1000,
                     .srcport = sample.srcport,
                     .dstport = sample.dstport,
                     .rule = builder.intern("12"),
                     .action = builder.intern(sample.action),
                     .direction = builder.intern(sample.direction),
                     .interface = builder.intern("em0"),
                     .srcip = builder.intern(sample.src),
                     .dstip = builder.intern(sample.dst),
                     .proto = builder.intern("tcp")});
    }
    return builder.finish();
}

inline LiveRecordDictionary liveOf(const Sample& sample) {
    LiveRecordDictionary live;
    live.set(LiveKey::EPOCH, sample.epoch);
    live.set(LiveKey::UID, std::int64_t{1000});
    live.set(LiveKey::RULE, std::string("12"));
    live.set(LiveKey::ACTION, sample.action);
    live.set(LiveKey::DIRECTION, sample.direction);
    live.set(LiveKey::INTERFACE, std::string("em0"));
    live.set(LiveKey::SRCIP, sample.src);
    live.set(LiveKey::SRCPORT, std::int64_t{sample.srcport});
    live.set(LiveKey::DSTIP, sample.dst);
    live.set(LiveKey::DSTPORT, std::int64_t{sample.dstport});
    live.set(LiveKey::PROTO, std::string("tcp"));
    live.set(LiveKey::IPVER, std::int64_t{4});
    return live;
}

class WindowTest : public testing::Test {
  protected:
    WindowTest() {
        context.queues = queues;
        context.viewControllers = &viewControllers;
        context.windowControllers = &windowControllers;
        context.tables = &tables;
        context.pictures = &pictures;
        context.exclusionTest = &exclusions;
        context.exclusions = &exclusions;
        context.link = &link;
        context.console = [this](const std::string& line) { console.push_back(line); };
        context.helper = BrindleHelper::create(
            [this](std::weak_ptr<TallydAgentProtocol>) -> std::shared_ptr<TallydConnection> {
                return daemon.reachable ? std::make_shared<FakeConnection>(daemon) : nullptr;
            },
            queues.main, viewControllers,
            std::make_unique<LiveFeed>(queues, viewControllers, exclusions), context.console);
        context.tallies = {.queues = queues,
                           .helper = context.helper,
                           .exclusions = &exclusions,
                           .portNames = &tables.portNames,
                           .names = {},
                           .nationInfo = nullptr};
    }

    /// Runs the event loop until `holds`; false when it does not come to hold.
    static bool until(const std::function<bool()>& holds) { return QTest::qWaitFor(holds, 20000); }
    /// Lets everything that was handed to the main queue so far run.
    void settle() {
        bool reached = false;
        queues.main->async([&] { reached = true; });
        EXPECT_TRUE(until([&] { return reached; }));
        QCoreApplication::sendPostedEvents();
    }

    FakeDaemon daemon;
    FakeExclusions exclusions;
    FakeLink link;
    std::vector<std::string> console;
    platform::Queues queues = platform::makeQueues(platform::makeMainQueue());
    PictureStore pictures{queues.global, queues.main};
    LogTables tables{[](std::uint32_t) { return std::string("anna"); }};
    ViewControllers viewControllers;
    WindowControllers windowControllers;
    AppContext context;
};

} // namespace brindle::test
