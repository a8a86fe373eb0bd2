// SPDX-License-Identifier: BSD-2-Clause
#include "app/logs/table/LogsTableModel.h"

#include "app/logs/table/LogsArrayController.h"
#include "app/logs/table/RowExport.h"
#include "tests/app/logs/table/TableFixture.h"

#include <QAbstractItemModelTester>
#include <QItemSelectionModel>

#include <gtest/gtest.h>

namespace brindle {
namespace {

using testing::HeldQueue;
using testing::makeBatch;
using testing::RowSpec;
using testing::TableFixture;

class OnePicture final : public PictureSource {
  public:
    QIcon forPicture(const Picture& picture) override {
        asked.push_back(picture.content()->name);
        return icon_;
    }
    std::vector<std::string> asked;

  private:
    QIcon icon_{QPixmap(4, 4)};
};

class LogsTableModelTest : public ::testing::Test {
  protected:
    LogsTableModelTest() { settle(); }
    void settle() {
        do {
            worker->runAll();
            main->runAll();
        } while (controller.isArranging());
    }
    std::vector<LogId> idsOf(const QItemSelection& selected) const {
        std::vector<LogId> ids;
        for (const std::uint32_t row : LogsTableModel::rowsOf(selected))
            ids.push_back(controller.idAt(row));
        std::ranges::sort(ids);
        return ids;
    }
    void select(int first, int last) {
        selection.select(QItemSelection(model.index(first, 0), model.index(last, 0)),
                         QItemSelectionModel::Select | QItemSelectionModel::Rows);
    }
    QString text(int row, LogColumn column, int role) const {
        return model.index(row, static_cast<int>(column)).data(role).toString();
    }

    TableFixture fixture;
    std::shared_ptr<HeldQueue> main = std::make_shared<HeldQueue>();
    std::shared_ptr<HeldQueue> worker = std::make_shared<HeldQueue>();
    LogsArrayController controller{main, worker, fixture.tables};
    OnePicture pictures;
    LogsTableModel model{controller, pictures};
    QAbstractItemModelTester tester{&model, QAbstractItemModelTester::FailureReportingMode::Fatal};
    QItemSelectionModel selection{&model};
};

TEST_F(LogsTableModelTest, KeepsRulesOfModelsAndTheSelectionThroughRandomChanges) {
    for (int i = 0; i < 400; ++i) {
        const std::vector<LogId> before = idsOf(selection.selection());
        bool cleared = false;
        switch (fixture.number(9)) {
        case 0:
        case 1:
            controller.append(AnswerId::none,
                              fixture.randomBatch(static_cast<std::size_t>(fixture.number(40))));
            break;
        case 2:
        case 3:
            for (int k = fixture.number(12); k >= 0; --k)
                controller.insertAtFront(fixture.randomLog());
            break;
        case 4:
            for (int k = fixture.number(30); k >= 0; --k)
                controller.removeLast();
            break;
        case 5:
            model.sort(fixture.number(static_cast<int>(kLogColumnCount) + 1) - 1,
                       fixture.number(2) ? Qt::AscendingOrder : Qt::DescendingOrder);
            break;
        case 6:
            controller.setFilter(std::make_shared<const FilterExpression>(
                *FilterExpression::parse(fixture.pick<std::string>({"", "", "tcp", "em1"}))));
            break;
        case 7:
            if ((cleared = fixture.number(6) == 0))
                controller.clear();
            break;
        case 8:
            if (model.rowCount() > 0) {
                const LogId id =
                    controller.idAt(static_cast<std::size_t>(fixture.number(model.rowCount())));
                controller.find(id)->setText(LogField::addresssrcip, fixture.randomName());
                controller.rowChanged(id);
            }
            break;
        }
        settle();
        ASSERT_EQ(model.rowCount(), static_cast<int>(controller.arrangedCount()));
        std::vector<LogId> expected;
        for (std::size_t row = 0; row < controller.arrangedCount() && !cleared; ++row)
            if (std::ranges::binary_search(before, controller.idAt(row)))
                expected.push_back(controller.idAt(row));
        std::ranges::sort(expected);
        ASSERT_EQ(idsOf(selection.selection()), expected) << "step " << i;

        if (model.rowCount() > 0 && fixture.number(3) == 0) {
            const int first = fixture.number(model.rowCount());
            select(first, std::min(model.rowCount() - 1, first + fixture.number(9)));
        }
    }
}

TEST_F(LogsTableModelTest, SelectingEverythingStaysEverythingThroughASort) {
    for (int i = 0; i < 5; ++i)
        controller.append(AnswerId::none, fixture.randomBatch(4000));
    settle();
    select(0, model.rowCount() - 1);
    model.sort(static_cast<int>(LogColumn::source));
    settle();
    EXPECT_EQ(LogsTableModel::rowsOf(selection.selection()).size(), 20000u);
}

TEST_F(LogsTableModelTest, CellsSayWhatTheyShowAndWhatStandsBehindIt) {
    controller.append(
        AnswerId::none,
        makeBatch({{.epoch = 1700000000.25, .uid = 1000, .action = "pass", .direction = "out"},
                   {.dstport = 1999}}));
    settle();
    controller.find(controller.idAt(0))->setText(LogField::addressdstip, "müller.example");
    struct Cell {
        int row;
        LogColumn column;
        const char* shown;
        const char* spoken;
        const char* toolTip;
    };
    const std::vector<Cell> cells{
        {0, LogColumn::actionDirection, "", "Passed out", "Passed out"},
        {0, LogColumn::date, "2023/11/14 18:43:20", "2023/11/14 18:43:20",
         "2023/11/14 18:43:20.250000"},
        {0, LogColumn::user, "anna", "anna", "User id 1000"},
        {1, LogColumn::user, "–", "4294967295", "No user is known for this packet"},
        {0, LogColumn::source, "192.0.2.1", "192.0.2.1", ""},
        {0, LogColumn::destination, "müller.example", "müller.example", "198.51.100.7"},
        {0, LogColumn::destinationPort, "443 https", "443 https", "Port 443: https"},
        {1, LogColumn::destinationPort, "1999", "1999", ""},
    };
    for (const Cell& cell : cells) {
        EXPECT_EQ(text(cell.row, cell.column, Qt::DisplayRole), cell.shown);
        EXPECT_EQ(text(cell.row, cell.column, Qt::AccessibleTextRole), cell.spoken);
        EXPECT_EQ(text(cell.row, cell.column, Qt::ToolTipRole), cell.toolTip);
    }
    EXPECT_FALSE(model.index(0, 0).data(Qt::DecorationRole).isNull());
    EXPECT_FALSE(model.index(0, 2).data(Qt::DecorationRole).isNull());
    EXPECT_TRUE(model.index(0, 5).data(Qt::DecorationRole).isNull());
    EXPECT_EQ(pictures.asked.size(), 2u);
    EXPECT_EQ(pictures.asked.back(), "face");
}

TEST_F(LogsTableModelTest, CopiesRawAddressesAndRowsInTheOrderOfTheSelection) {
    controller.append(AnswerId::none,
                      makeBatch({{.srcip = "10.0.0.2"}, {.srcip = "10.0.0.1"}, {.rule = "a\tb"}}));
    settle();
    controller.find(controller.idAt(0))->setText(LogField::addresssrcip, "two.example");
    select(2, 2);
    select(0, 0);
    const auto rows = LogsTableModel::rowsOf(selection.selection());
    EXPECT_EQ(joinedLines(addressesOfRows(controller, rows, AddressSide::source)),
              "10.0.0.2\n192.0.2.1");
    EXPECT_EQ(joinedLines(addressesOfRows(controller, rows, AddressSide::destination)),
              "198.51.100.7\n198.51.100.7");
    EXPECT_EQ(joinedLines(addressesOfRows(controller, {}, AddressSide::source)), "");
    EXPECT_EQ(rowsAsText(controller, std::vector<std::uint32_t>{2, 7}, TitleLine::with),
              "Action\tDate\tUser\tRule\tInterface\tSource\tSource Port\tDestination\t"
              "Destination Port\tProtocol\n"
              "Blocked in\t2023/11/14 18:43:20\t4294967295\ta b\tem0\t192.0.2.1\t50000\t"
              "198.51.100.7\t443 https\ttcp");
}

} // namespace
} // namespace brindle
