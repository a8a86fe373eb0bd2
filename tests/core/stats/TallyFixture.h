// SPDX-License-Identifier: BSD-2-Clause
//
// What the tests of the tallies share: a daemon that answers counts, queues that wait, a small
// nation database. For test programs only.
#pragma once

#include "core/exclusions/ExclusionList.h"
#include "core/geo/VDXNationInfo.h"
#include "core/stats/TallySet.h"
#include "tests/app/support/FakeDaemon.h"
#include "tests/core/geo/Fixture.h"
#include "tests/core/support/FakeNames.h"
#include "tests/core/support/ManualQueue.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace brindle {

struct NoStorage final : ExclusionStorage {
    std::vector<VDXExclusion> read() override { return {}; }
    void store(ExclusionChange, std::vector<VDXExclusion>,
               std::function<void(std::vector<VDXExclusion>)>) override {}
};

using Shown = std::vector<std::pair<std::string, std::int64_t>>;

class TallyTest : public testing::Test {
  protected:
    TallyTest() {
        file.write({{"it", {"2.32.0.0/11"}}});
        nations.importNationsDB();
        services.queues.main = main;
        services.queues.global = global;
        services.queues.reverse = platform::makeSerialQueue("ReverseQueue");
        services.queues.updateVisualizer = platform::makeSerialQueue("visible");
        services.helper = BrindleHelper::create(
            [this](std::weak_ptr<TallydAgentProtocol>) -> std::shared_ptr<TallydConnection> {
                return daemon.reachable ? std::make_shared<test::FakeConnection>(daemon) : nullptr;
            },
            main, views, nullptr, [this](const std::string& line) { console.push_back(line); });
        services.exclusions = &exclusions;
        services.portNames = &portNames;
        services.names = {&resolver, &timers};
        services.nationInfo = nationInfo;
    }
    void runQueues() {
        while (!main->idle() || !global->idle()) {
            global->run();
            main->run();
        }
    }
    static Shown shown(const TallyRows& rows) {
        Shown all;
        for (const auto& row : rows.rows())
            all.emplace_back(row->label(), row->value());
        return all;
    }
    static LiveRecordDictionary live(const std::string& action, const std::string& direction,
                                     const std::string& srcip, const std::string& dstip,
                                     std::int64_t dstport, std::int64_t sequence) {
        LiveRecordDictionary record;
        record.set(LiveKey::ACTION, action);
        record.set(LiveKey::DIRECTION, direction);
        record.set(LiveKey::SRCIP, srcip);
        record.set(LiveKey::DSTIP, dstip);
        record.set(LiveKey::DSTPORT, dstport);
        record.set(LiveKey::SEQ, sequence);
        return record;
    }

    std::shared_ptr<ManualQueue> main = std::make_shared<ManualQueue>();
    std::shared_ptr<ManualQueue> global = std::make_shared<ManualQueue>();
    test::FakeDaemon daemon;
    ViewControllers views;
    std::vector<std::string> console;
    NoStorage storage;
    ExclusionList exclusions{storage, [] {}};
    PortNames portNames{{{"443", "https"}, {"22", "ssh"}}};
    FakeResolver resolver;
    FakeTimers timers;
    TellingPictures pictures;
    DatabaseFile file;
    NationsDatabase nations{[](const std::string&) {}, pictures, file.path()};
    std::shared_ptr<VDXNationInfo> nationInfo = std::make_shared<VDXNationInfo>(
        nations, pictures, platform::makeSerialQueue("nationinfoqueue"));
    TallyServices services;
};

} // namespace brindle
