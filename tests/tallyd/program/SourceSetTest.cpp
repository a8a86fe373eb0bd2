// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/program/SourceSet.h"

#include "tallyd/program/Progress.h"

#include <gmock/gmock.h>

namespace brindle::tallyd {
namespace {

using testing::ElementsAre;

/// Tells when it begins and ends; begins at the place that it is given.
class FakeSource final : public Source {
  public:
    FakeSource(std::string name, std::vector<std::string>& events)
        : name_(std::move(name)), events_(events) {}
    ~FakeSource() override { events_.push_back("end " + name_); }
    const std::string& name() const override { return name_; }
    void start(RecordSink& sink) override {
        const SourceId id = sink.addSource(name_);
        events_.push_back("start " + name_ + " at " + sink.storedPosition(id));
        sink.add(id, std::vector<PacketRecord>(3), RecordSink::WhenFull::wait, "behind " + name_);
        sink.countLost(id, "queue", 2);
    }

  private:
    const std::string name_;
    std::vector<std::string>& events_;
};

class FakeSink final : public RecordSink {
  public:
    SourceId addSource(const std::string& name) override {
        names.push_back(name);
        states.emplace_back();
        return static_cast<SourceId>(names.size() - 1);
    }
    std::string storedPosition(SourceId source) override { return "stored " + names.at(source); }
    void setState(SourceId source, const std::string& state) override { states[source] = state; }
    void add(SourceId, std::vector<PacketRecord>, WhenFull, std::string) override {}
    void countLost(SourceId, std::string_view, std::uint64_t) override {}

    std::vector<std::string> names;
    std::vector<std::string> states;
};

TEST(SourceSet, OnlyWhatChangedIsTouchedAndWhatComesBackGoesOn) {
    std::vector<std::string> events;
    SourceSet set([&](const std::string& spec,
                      const ActionPatterns&) -> tl::expected<std::unique_ptr<Source>, std::string> {
        if (spec == "bad")
            return tl::unexpected(std::string("bad: is bad"));
        return std::make_unique<FakeSource>(spec, events);
    });
    FakeSink sink;
    ASSERT_TRUE(set.prepare({"a", "b"}));
    EXPECT_THAT(events, ElementsAre());
    set.start(sink);
    EXPECT_THAT(events, ElementsAre("start a at stored a", "start b at stored b"));

    events.clear();
    EXPECT_EQ(set.replace({"c", "bad"}).error(), "bad: is bad");
    EXPECT_THAT(events, ElementsAre("end c")); // never began
    EXPECT_TRUE(set.replace({"b", "a"}));
    EXPECT_THAT(events, ElementsAre("end c"));

    events.clear();
    const auto changes = set.replace({"c", "b"});
    ASSERT_TRUE(changes);
    EXPECT_EQ(changes->added, 1u);
    EXPECT_EQ(changes->removed, 1u);
    EXPECT_THAT(events, ElementsAre("end a", "start c at stored c"));
    EXPECT_THAT(sink.states, ElementsAre("removed", "", ""));

    events.clear();
    ASSERT_TRUE(set.replace({"a", "b", "c"}));
    EXPECT_THAT(events, ElementsAre("start a at behind a"));
    EXPECT_THAT(sink.names, ElementsAre("a", "b", "c")); // one account each
    EXPECT_EQ(set.handedOver(), 4u * (3 + 2));
}

TEST(Progress, IsDeniedOnlyWhenSomethingWaitsAndNothingHappens) {
    Progress progress;
    EXPECT_TRUE(progress.goesOn(0, 0));
    EXPECT_TRUE(progress.goesOn(0, 0));
    EXPECT_TRUE(progress.goesOn(10, 0)); // may have come just now
    EXPECT_TRUE(progress.goesOn(900, 10));
    EXPECT_FALSE(progress.goesOn(900, 10));
    EXPECT_FALSE(progress.goesOn(1000, 10));
    EXPECT_TRUE(progress.goesOn(1000, 11));
    EXPECT_TRUE(progress.goesOn(1000, 1000));
    EXPECT_TRUE(progress.goesOn(1000, 1000)); // idle
}

} // namespace
} // namespace brindle::tallyd
