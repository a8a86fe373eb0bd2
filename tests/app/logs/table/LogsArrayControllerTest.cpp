// SPDX-License-Identifier: BSD-2-Clause
#include "app/logs/table/LogsArrayController.h"

#include "app/logs/table/FoldCase.h"
#include "core/net/DecimalText.h"
#include "core/net/IpAddress.h"
#include "core/net/NumericTextOrder.h"
#include "tests/app/logs/table/ArrangementMirror.h"
#include "tests/app/logs/table/TableFixture.h"

#include <algorithm>
#include <numeric>
#include <thread>

#include <gtest/gtest.h>

namespace brindle {
namespace {

using testing::ArrangementMirror;
using testing::HeldQueue;
using testing::makeBatch;
using testing::RowSpec;
using testing::TableFixture;

std::weak_ordering compareTexts(const std::string& a, const std::string& b) {
    const auto order = numericTextOrder(foldCase(a), foldCase(b));
    return order != 0 ? order : a <=> b;
}

/// The order of a column, told anew from its description.
std::weak_ordering compareCells(const VDXLog& a, const VDXLog& b, LogColumn column) {
    const LogField field = describe(column).field;
    switch (describe(column).sort) {
    case SortKind::time:
        return a.epoch() < b.epoch()   ? std::weak_ordering::less
               : a.epoch() > b.epoch() ? std::weak_ordering::greater
                                       : std::weak_ordering::equivalent;
    case SortKind::verdict:
        return columnText(a, column) <=> columnText(b, column);
    case SortKind::address: {
        const auto left = IpAddress::parse(a.text(field));
        const auto right = IpAddress::parse(b.text(field));
        if (left && right)
            return *left <=> *right;
        if (left || right)
            return right.has_value() <=> left.has_value();
        return compareTexts(a.text(field), b.text(field));
    }
    case SortKind::port: {
        const auto left = decimalInteger(a.text(field)).value_or(-1);
        const auto right = decimalInteger(b.text(field)).value_or(-1);
        if (left >= 0 && right >= 0)
            return left <=> right;
        if (left >= 0 || right >= 0)
            return right <=> left; // texts after numbers
        return compareTexts(a.text(field), b.text(field));
    }
    case SortKind::text:
        break;
    }
    return compareTexts(columnText(a, column), columnText(b, column));
}

class LogsArrayControllerTest : public ::testing::Test {
  protected:
    void settle() {
        do {
            worker->runAll();
            main->runAll();
        } while (controller.isArranging());
    }
    /// The texts of a column as arranged.
    std::vector<std::string> texts(LogColumn column) const {
        std::vector<std::string> all;
        for (std::size_t i = 0; i < controller.arrangedCount(); ++i)
            all.push_back(columnText(controller.arrangedLog(i), column));
        return all;
    }
    std::vector<RowSpec> numbered(int first, int count) {
        std::vector<RowSpec> specs;
        for (int i = first; i < first + count; ++i) {
            specs.emplace_back();
            specs.back().rule = std::to_string(i);
        }
        return specs;
    }
    VDXLog live(int rule) { return VDXLog(makeBatch(numbered(rule, 1)), 0, fixture.tables); }
    void filter(const std::string& text) {
        controller.setFilter(
            std::make_shared<const FilterExpression>(*FilterExpression::parse(text)));
    }

    TableFixture fixture;
    std::shared_ptr<HeldQueue> main = std::make_shared<HeldQueue>();
    std::shared_ptr<HeldQueue> worker = std::make_shared<HeldQueue>();
    LogsArrayController controller{main, worker, fixture.tables};
    ArrangementMirror mirror{controller};
};

/// Random operations; what is arranged in the end must be what sorting and filtering all rows
/// gives.
class RandomOperations : public LogsArrayControllerTest {
  protected:
    void run(unsigned seed, int operations, int batchRows) {
        fixture.seed(seed);
        for (int i = 0; i < operations; ++i) {
            operate(batchRows);
            for (int turns = fixture.number(3); turns > 0; --turns)
                fixture.number(2) ? main->runOne() : worker->runOne();
            if (i % 10 == 9)
                check();
        }
    }

    void operate(int batchRows) {
        switch (fixture.number(13)) {
        case 0:
        case 1:
            answers.push_back(controller.beginAnswer());
            break;
        case 2:
        case 3: {
            const AnswerId answer = answers.empty() ? AnswerId::none : fixture.pick(answers);
            const auto batch =
                fixture.randomBatch(static_cast<std::size_t>(fixture.number(batchRows) + 1));
            controller.append(answer, batch);
            for (std::size_t i = 0; i < batch->size(); ++i)
                logs.push_back({nextBack++, answer});
            break;
        }
        case 4:
            controller.append(AnswerId::none, fixture.randomLog());
            logs.push_back({nextBack++, AnswerId::none});
            break;
        case 5:
        case 6:
            for (int i = fixture.number(20); i >= 0; --i) {
                controller.insertAtFront(fixture.randomLog());
                logs.push_front({nextFront--, AnswerId::none});
                if (fixture.number(2)) {
                    controller.removeLast();
                    logs.pop_back();
                }
            }
            break;
        case 7:
            if (!answers.empty()) {
                controller.withdrawAnswer(answers.back());
                std::erase_if(logs, [&](const Row& row) { return row.answer == answers.back(); });
                answers.pop_back();
            }
            break;
        case 8:
            if (!answers.empty()) {
                controller.endAnswer(answers.front());
                for (Row& row : logs)
                    if (row.answer == answers.front())
                        row.answer = AnswerId::none;
                answers.erase(answers.begin());
            }
            break;
        case 9:
            for (int i = 0; i < 5 && !logs.empty(); ++i) {
                const LogId id =
                    logs[static_cast<std::size_t>(fixture.number(static_cast<int>(logs.size())))]
                        .id();
                controller.find(id)->setText(LogField::addresssrcip, fixture.randomName());
                controller.rowChanged(id);
            }
            break;
        case 10:
        case 11: {
            const int column = fixture.number(static_cast<int>(kLogColumnCount) + 1) - 1;
            controller.setSort(column < 0
                                   ? std::optional<SortOrder>()
                                   : SortOrder{static_cast<LogColumn>(column),
                                               fixture.number(2) ? SortDirection::ascending
                                                                 : SortDirection::descending});
            break;
        }
        case 12:
            if (fixture.number(10) == 0) {
                controller.clear();
                logs.clear();
            } else {
                filter(
                    fixture.pick<std::string>({"", "", "tcp", "-em", "src:10.1.0.0/16", "host"}));
            }
            break;
        }
        ASSERT_EQ(controller.count(), logs.size());
    }

    void check() {
        while (!answers.empty()) {
            controller.endAnswer(answers.back());
            answers.pop_back();
        }
        for (Row& row : logs)
            row.answer = AnswerId::none;
        settle();
        std::vector<LogId> expected;
        for (const Row& row : logs)
            if (!controller.filter() || controller.filter()->matches(*controller.find(row.id())))
                expected.push_back(row.id());
        if (const auto sort = controller.sort())
            std::ranges::stable_sort(expected, [&](LogId a, LogId b) {
                const auto order =
                    compareCells(*controller.find(a), *controller.find(b), sort->column);
                return sort->direction == SortDirection::ascending ? order < 0 : order > 0;
            });
        ASSERT_EQ(mirror.ids(), expected);
        ASSERT_TRUE(mirror.agrees());
    }

    struct Row {
        std::int64_t number;
        AnswerId answer;
        LogId id() const { return LogId{number}; }
    };
    std::deque<Row> logs;
    std::vector<AnswerId> answers;
    std::int64_t nextBack = 0;
    std::int64_t nextFront = -1;
};

TEST_F(RandomOperations, EndInTheOrderOfAStableSortOfFewRows) {
    for (unsigned seed = 1; seed <= 10 && !HasFatalFailure(); ++seed)
        run(seed, 100, 20);
}

TEST_F(RandomOperations, EndInTheOrderOfAStableSortOfManyRowsOnTheWorker) {
    for (unsigned seed = 20; seed <= 23 && !HasFatalFailure(); ++seed)
        run(seed, 60, 5000);
}

TEST_F(LogsArrayControllerTest, ABrokenAnswerTakesOnlyItsOwnRowsWithIt) {
    const AnswerId kept = controller.beginAnswer();
    const AnswerId broken = controller.beginAnswer();
    controller.append(kept, makeBatch(numbered(0, 2)));
    controller.append(broken, makeBatch(numbered(10, 3)));
    controller.append(kept, makeBatch(numbered(20, 1)));
    controller.append(broken, makeBatch(numbered(30, 1)));
    main->runAll();
    const LogId last = LogId{5}; // rule 20
    const VDXLog* address = controller.find(last);
    controller.withdrawAnswer(broken);
    EXPECT_EQ(controller.find(last), address) << "rows are referred to while names are looked up";
    EXPECT_EQ(controller.find(LogId{2}), nullptr);
    controller.append(kept, makeBatch(numbered(40, 1)));
    controller.insertAtFront(live(50));
    controller.endAnswer(kept);
    controller.withdrawAnswer(kept); // too late
    main->runAll();
    EXPECT_EQ(texts(LogColumn::rule), (std::vector<std::string>{"50", "0", "1", "20", "40"}));
    EXPECT_TRUE(mirror.agrees());
}

TEST_F(LogsArrayControllerTest, LiveRowsPushTheOldestOutAndReachTheViewOnceATurn) {
    for (const bool sorted : {false, true}) {
        controller.clear();
        controller.setSort(sorted ? std::optional(SortOrder{LogColumn::rule}) : std::nullopt);
        main->runAll();
        mirror.changes = 0;
        for (int i = 1; i <= 4000; ++i) {
            controller.insertAtFront(live(i));
            if (controller.count() > 1000)
                controller.removeLast();
            if (i % 400 == 0)
                main->runAll();
        }
        EXPECT_EQ(controller.count(), 1000u);
        std::vector<std::string> expected;
        for (int i = 4000; i > 3000; --i)
            expected.push_back(std::to_string(i));
        if (sorted)
            std::ranges::reverse(expected);
        EXPECT_EQ(texts(LogColumn::rule), expected);
        EXPECT_TRUE(mirror.agrees());
        EXPECT_LE(mirror.changes, 10u * 4u);
    }
}

TEST_F(LogsArrayControllerTest, ALongAnswerComesInFewGrowingPortionsTheFirstAtOnce) {
    const AnswerId answer = controller.beginAnswer();
    const auto batch = makeBatch(numbered(0, 4096));
    for (int i = 0; i < 250; ++i) {
        controller.append(answer, batch);
        main->runAll();
        if (i == 0) {
            EXPECT_EQ(controller.arrangedCount(), 4096u);
        }
    }
    EXPECT_LT(controller.arrangedCount(), controller.count());
    controller.endAnswer(answer);
    main->runAll();
    EXPECT_EQ(controller.arrangedCount(), 250u * 4096u);
    EXPECT_LE(mirror.changes, 20u);
}

TEST_F(LogsArrayControllerTest, RowsThatComeAndGoWhileSortingAreNeitherLostNorShownTwice) {
    controller.append(AnswerId::none, makeBatch(numbered(0, 8000)));
    controller.append(AnswerId::none, makeBatch(numbered(8000, 8000)));
    main->runAll();
    controller.setSort(SortOrder{LogColumn::rule, SortDirection::descending});
    ASSERT_TRUE(controller.isArranging());
    controller.insertAtFront(live(20000));
    controller.removeLast();
    controller.removeLast();
    controller.append(AnswerId::none, makeBatch(numbered(30000, 1)));
    main->runAll();
    EXPECT_EQ(columnText(controller.arrangedLog(0), LogColumn::rule), "0")
        << "the old order stands while a new one is made";
    settle();
    ASSERT_EQ(controller.arrangedCount(), 16000u);
    EXPECT_EQ(columnText(controller.arrangedLog(0), LogColumn::rule), "30000");
    EXPECT_EQ(columnText(controller.arrangedLog(1), LogColumn::rule), "20000");
    EXPECT_EQ(columnText(controller.arrangedLog(2), LogColumn::rule), "15997");
    EXPECT_TRUE(mirror.agrees());
}

TEST_F(LogsArrayControllerTest, WorkThatWasOvertakenIsNotShown) {
    for (int i = 0; i < 3; ++i)
        controller.append(AnswerId::none, makeBatch(numbered(i * 5000, 5000)));
    main->runAll();
    controller.setSort(SortOrder{LogColumn::rule, SortDirection::descending});
    worker->runAll(); // done, but not shown yet
    filter("rule:7");
    main->runAll();
    EXPECT_EQ(controller.arrangedCount(), 15000u);
    settle();
    EXPECT_EQ(texts(LogColumn::rule), std::vector<std::string>{"7"});
    controller.setFilter(nullptr);
    worker->runAll();
    controller.clear();
    settle();
    EXPECT_EQ(controller.arrangedCount(), 0u);
    EXPECT_TRUE(mirror.agrees());
}

TEST_F(LogsArrayControllerTest, ArrangesOnAnotherThreadWhileTheMainOneGoesOn) {
    const auto threads = platform::makeConcurrentQueue("test", 2);
    {
        LogsArrayController own(main, threads, fixture.tables);
        ArrangementMirror view(own);
        for (int round = 0; round < 6; ++round) {
            own.append(AnswerId::none, fixture.randomBatch(8000));
            own.setSort(SortOrder{static_cast<LogColumn>(round)});
            own.insertAtFront(fixture.randomLog());
            main->runAll();
        }
        while (own.isArranging()) {
            std::this_thread::yield();
            main->runAll();
        }
        main->runAll();
        EXPECT_EQ(own.arrangedCount(), 6u * 8001u);
        EXPECT_TRUE(view.agrees());
        own.setSort(std::nullopt);
    }
    main->runAll(); // what was under way finds no controller
}

} // namespace
} // namespace brindle
