// SPDX-License-Identifier: BSD-2-Clause
#include "core/exclusions/ExclusionList.h"
#include "core/exclusions/ExclusionFromText.h"
#include "core/exclusions/SnapshotCell.h"
#include "core/exclusions/StoredExclusions.h"

#include <atomic>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace brindle {
namespace {

namespace fs = std::filesystem;
using platform::DefaultsFile;
using platform::PropertyList;

VDXExclusion typed(const char* text) {
    return std::get<VDXExclusion>(exclusionFromText(text));
}

std::vector<std::string> textsOf(const std::vector<VDXExclusion>& list) {
    std::vector<std::string> texts;
    for (const VDXExclusion& entry : list)
        texts.push_back(entry.exclusion);
    return texts;
}

using Texts = std::vector<std::string>;

/// Runs what was handed in when it is told to.
class StepQueue final : public platform::DispatchQueue {
  public:
    void async(platform::Task task) override { tasks_.push_back(std::move(task)); }
    void sync(platform::Task task) override {
        run();
        task();
    }
    const std::string& label() const override { return label_; }
    void run() {
        while (!tasks_.empty()) {
            platform::Task task = std::move(tasks_.front());
            tasks_.pop_front();
            task();
        }
    }

  private:
    std::deque<platform::Task> tasks_;
    std::string label_ = "step";
};

/// One viewer: a list over the defaults file.
struct Viewer {
    explicit Viewer(const std::string& path)
        : storage(DefaultsFile(path), writer, main), list(storage, [this] { ++refreshes; }) {
        list.loadExclusions();
    }
    void settle() {
        writer->run();
        main->run();
    }
    void add(const char* text) { list.addExclusion(typed(text)); }
    void remove(Texts texts) { list.removeExclusions(texts); }
    Texts texts() const { return textsOf(list.exclusionList()); }
    bool hidesPort(const char* port) const { return list.isExcluded("", port, "", "", 4); }

    std::shared_ptr<StepQueue> writer = std::make_shared<StepQueue>();
    std::shared_ptr<StepQueue> main = std::make_shared<StepQueue>();
    DefaultsExclusionStorage storage;
    int refreshes = 0;
    ExclusionList list;
};

class ExclusionListTest : public testing::Test {
  protected:
    void SetUp() override {
        char pattern[] = "/tmp/brindle-exclusions-XXXXXX";
        folder_ = mkdtemp(pattern);
        path_ = folder_ / "defaults.plist";
    }
    void TearDown() override { fs::remove_all(folder_); }

    Texts stored() const {
        return textsOf(*exclusionsFromStored(*DefaultsFile(path_).read("VDXExclusion")));
    }

    fs::path folder_;
    std::string path_;
};

TEST_F(ExclusionListTest, EveryChangeIsStoredDerivedAndShown) {
    Viewer viewer(path_);
    EXPECT_EQ(viewer.refreshes, 0) << "an empty store needs no commit";
    viewer.add("80");
    EXPECT_TRUE(viewer.hidesPort("80")) << "in effect before it is on the disk";
    viewer.add("10.0.0.0/24");
    viewer.add("10.0.0.1");
    viewer.add("80");
    viewer.list.addExclusion({"newtype", "80", std::nullopt, std::nullopt, 4});
    EXPECT_EQ(viewer.refreshes, 5);
    viewer.settle();
    EXPECT_EQ(viewer.refreshes, 5) << "storing our own change changes no view";
    EXPECT_EQ(stored(), (Texts{"80", "10.0.0.0/24", "10.0.0.1", "80", "80"}));
    EXPECT_EQ(viewer.list.derivedLists(),
              (ExclusionLists{{"80", "80"}, {"10.0.0.1"}, {{"10.0.0.0", "10.0.0.255"}}, {}}));

    Viewer next(path_);
    EXPECT_EQ(next.list.exclusionList(), viewer.list.exclusionList());
    EXPECT_EQ(next.refreshes, 1) << "loading is one commit";
    next.remove({"80"}); // by text alone, whatever the type
    EXPECT_EQ(next.refreshes, 2);
    EXPECT_FALSE(next.hidesPort("80"));
    next.remove({"not there"});
    EXPECT_EQ(next.refreshes, 2);
    next.settle();
    EXPECT_EQ(stored(), (Texts{"10.0.0.0/24", "10.0.0.1"}));
}

TEST_F(ExclusionListTest, StoredFormHasFiveEntriesOfTheirTypes) {
    Viewer viewer(path_);
    viewer.add("fe80::/64");
    viewer.settle();
    const PropertyList::Array expected{PropertyList::Dictionary{
        {"type", "cidr"},
        {"exclusion", "fe80::/64"},
        {"lrange", "fe80::"},
        {"hrange", "fe80::ffff:ffff:ffff:ffff"},
        {"version", std::int64_t{6}},
    }};
    EXPECT_EQ(DefaultsFile(path_).read("VDXExclusion"), PropertyList(expected));
}

TEST_F(ExclusionListTest, StoredValuesOfOtherShapesAreReadWithoutFault) {
    const struct {
        const char* xml;
        std::vector<VDXExclusion> expected;
    } cases[] = {
        {"<string>x</string>", {}},
        {"<array/>", {}},
        {"<array><dict/><string>x</string></array>", {}}, // not an array of dictionaries
        {"<array><dict/></array>", {{"", "", std::nullopt, std::nullopt, 4}}},
        {"<array><dict><key>type</key><integer>1</integer><key>exclusion</key><string>80</string>"
         "<key>version</key><string>6</string></dict></array>",
         {{"", "80", std::nullopt, std::nullopt, 4}}},
        {"<array><dict><key>type</key><string>port</string><key>exclusion</key><string>80</string>"
         "<key>version</key><integer>-7</integer><key>more</key><true/></dict></array>",
         {{"port", "80", std::nullopt, std::nullopt, -7}}},
    };
    for (const auto& [xml, expected] : cases) {
        std::ofstream(path_) << "<plist><dict><key>VDXExclusion</key>" << xml << "</dict></plist>";
        Viewer viewer(path_);
        EXPECT_EQ(viewer.list.exclusionList(), expected) << xml;
        viewer.add("443");
        viewer.settle();
        auto after = textsOf(expected);
        after.push_back("443");
        EXPECT_EQ(stored(), after) << xml;
    }
}

TEST_F(ExclusionListTest, TwoViewersKeepEachOthersChanges) {
    Viewer a(path_);
    a.add("1");
    a.settle();
    Viewer b(path_);
    a.add("2");
    a.settle();
    b.add("3");
    EXPECT_FALSE(b.hidesPort("2"));
    b.settle();
    EXPECT_EQ(stored(), (Texts{"1", "2", "3"}));
    EXPECT_EQ(b.texts(), stored());
    EXPECT_TRUE(b.hidesPort("2")) << "what the other added counts once we stored";
    EXPECT_EQ(b.refreshes, 3) << "load, add, and the other's entry";

    b.remove({"1"});
    b.settle();
    a.add("4"); // still shows "1", which must not come back
    a.settle();
    EXPECT_EQ(stored(), (Texts{"2", "3", "4"}));
    EXPECT_EQ(a.texts(), stored());
}

TEST_F(ExclusionListTest, AnAnswerToAnOlderChangeUndoesNothing) {
    Viewer viewer(path_);
    viewer.add("1");
    viewer.writer->run(); // stored, but the answer has not arrived
    viewer.add("2");
    viewer.remove({"1"});
    viewer.main->run();
    EXPECT_EQ(viewer.texts(), (Texts{"2"}));
    viewer.settle();
    EXPECT_EQ(viewer.texts(), (Texts{"2"}));
    EXPECT_EQ(stored(), (Texts{"2"}));
}

TEST_F(ExclusionListTest, AFailedWriteIsMadeGoodByTheNext) {
    const std::string blocked = folder_ / "sub";
    path_ = blocked + "/defaults.plist";
    {
        Viewer other(path_);
        other.add("1");
        other.settle();
    }
    Viewer viewer(path_);
    fs::rename(blocked, folder_ / "kept");
    std::ofstream(blocked) << "a file where the folder was";
    testing::internal::CaptureStderr();
    viewer.add("2");
    viewer.settle();
    EXPECT_NE(testing::internal::GetCapturedStderr().find("exclusions not stored: "),
              std::string::npos);
    EXPECT_EQ(viewer.texts(), (Texts{"1", "2"}));

    fs::remove(blocked);
    fs::rename(folder_ / "kept", blocked);
    viewer.add("3");
    viewer.settle();
    EXPECT_EQ(stored(), (Texts{"1", "2", "3"}));
    EXPECT_EQ(viewer.texts(), stored());

    fs::remove(path_); // lost altogether: our list is all there is
    viewer.add("4");
    viewer.settle();
    EXPECT_EQ(stored(), (Texts{"1", "2", "3", "4"}));
}

TEST_F(ExclusionListTest, AnAnswerAfterTheEndOfTheListIsIgnored) {
    auto viewer = std::make_unique<Viewer>(path_);
    const auto writer = viewer->writer;
    const auto main = viewer->main;
    viewer->add("1");
    viewer.reset();
    writer->run();
    main->run();
    EXPECT_EQ(stored(), (Texts{"1"}));
}

TEST_F(ExclusionListTest, RecordsMayBeTestedWhileTheListChanges) {
    Viewer viewer(path_);
    viewer.add("10.0.0.0/8");
    std::atomic<bool> stop{false};
    std::atomic<int> shown{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 2; ++i)
        readers.emplace_back([&] {
            while (!stop)
                shown += !viewer.list.isExcluded("10.1.1.1", "1", "192.0.2.1", "2", 4);
        });
    for (int i = 0; i < 200; ++i) {
        viewer.add("192.0.3.0/24");
        viewer.remove({"192.0.3.0/24"});
    }
    stop = true;
    for (std::thread& reader : readers)
        reader.join();
    EXPECT_EQ(shown, 0) << "a record slipped through between two commits";
}

/// Counts how many of its kind there are.
struct Counted {
    explicit Counted(std::atomic<int>& count) : alive(count) { ++alive; }
    ~Counted() { --alive; }
    Counted(const Counted&) = delete;
    std::atomic<int>& alive;
};

TEST(SnapshotCell, KeepsAValueWhileItIsReadAndNoLonger) {
    std::atomic<int> alive{0};
    {
        SnapshotCell<Counted> cell(std::make_unique<const Counted>(alive));
        cell.read([&](const Counted&) {
            cell.replace(std::make_unique<const Counted>(alive));
            cell.replace(std::make_unique<const Counted>(alive));
            EXPECT_EQ(alive, 3) << "freed under a reader";
        });
        cell.replace(std::make_unique<const Counted>(alive));
        EXPECT_EQ(alive, 1) << "replaced values pile up";
    }
    EXPECT_EQ(alive, 0);
}

} // namespace
} // namespace brindle
