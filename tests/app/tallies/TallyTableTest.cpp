// SPDX-License-Identifier: BSD-2-Clause
#include "app/tallies/TallyArrayController.h"
#include "app/tallies/TallyExport.h"
#include "app/tallies/TallyTableModel.h"
#include "core/net/IpAddress.h"

#include <gtest/gtest.h>

#include <QAbstractItemModelTester>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace brindle {
namespace {

using Texts = std::vector<std::string>;

const PortNames& services() {
    static const PortNames names({{"22", "ssh"}, {"443", "https"}, {"1500", "vlsi-lm"}});
    return names;
}

TallyRows::Row addressRow(const std::string& label, std::int64_t value) {
    return VisualizerObj::create({.isIP = true}, label, value, nullptr);
}
TallyRows::Row portRow(const std::string& label, std::int64_t value) {
    return VisualizerObj::create({.isPort = true}, label, value, &services());
}

Texts shown(const TallyArrayController& controller) {
    Texts labels;
    for (std::size_t i = 0; i < controller.arrangedCount(); ++i)
        labels.push_back(controller.arrangedRow(i)->label());
    return labels;
}

/// The arrangement as one would write it down without any thought of cost.
Texts expected(const TallyRows& rows, const TallySort& sort, const TallyFilter& filter) {
    std::vector<TallyRows::Row> all;
    for (const TallyRows::Row& row : rows.rows())
        if (filter.matches(*row))
            all.push_back(row);
    const auto address = [](const TallyRows::Row& row) {
        return *IpAddress::parse(row->originallabel());
    };
    std::ranges::stable_sort(all, [&](const TallyRows::Row& a, const TallyRows::Row& b) {
        const TallyRows::Row& low = sort.direction == TallySortDirection::ascending ? a : b;
        const TallyRows::Row& high = sort.direction == TallySortDirection::ascending ? b : a;
        return sort.column == TallyColumn::address ? address(low) < address(high)
                                                   : low->value() < high->value();
    });
    Texts labels;
    for (const TallyRows::Row& row : all)
        labels.push_back(row->label());
    return labels;
}

TEST(TallyArrayControllerTest, EveryChangeLeavesTheRightOrderAndIndexesOnTheirRows) {
    std::mt19937 random(7);
    const auto upTo = [&](int bound) { return static_cast<int>(random() % unsigned(bound)); };
    const auto anyAddress = [&] {
        return upTo(4) == 0 ? "2001:db8::" + std::to_string(1 + upTo(300))
                            : "10." + std::to_string(upTo(3)) + ".0." + std::to_string(upTo(250));
    };
    TallyRows rows;
    TallyArrayController controller(rows);
    TallyTableModel model(controller, tallyColumns(TallyTableKind::listedAddresses));
    const QAbstractItemModelTester tester(&model,
                                          QAbstractItemModelTester::FailureReportingMode::Fatal);
    const int section = model.sectionOf(TallyColumn::address);
    TallySort sort;
    TallyFilter filter;
    struct Kept {
        QPersistentModelIndex index;
        std::string label;
    };
    std::vector<Kept> kept;
    const Texts filters{"", "10.1.0.0/16", "-10.0.0.0/15", "2001", "nothing"};
    for (int step = 0; step < 1500; ++step) {
        const int what = upTo(100);
        if (what == 0) {
            std::vector<TallyRows::Row> fresh;
            for (int i = upTo(60); i > 0; --i)
                fresh.push_back(addressRow(anyAddress(), upTo(20)));
            rows.replace(std::move(fresh));
            kept.clear();
        } else if (what < 8) {
            filter = TallyFilter(filters[static_cast<std::size_t>(upTo(5))]);
            controller.setFilter(filter);
        } else if (what < 14) {
            sort = {upTo(2) == 0 ? TallyColumn::records : TallyColumn::address,
                    upTo(2) == 0 ? TallySortDirection::ascending : TallySortDirection::descending};
            controller.setSort(sort);
        } else {
            for (int i = upTo(6); i >= 0; --i) {
                if (rows.size() == 0 || upTo(4) == 0)
                    rows.add(addressRow(anyAddress(), 1));
                else {
                    const TallyRows::Row& row = rows.at(random() % rows.size());
                    row->setValue(row->value() + 1 + upTo(5));
                }
            }
        }
        controller.flush();
        ASSERT_EQ(shown(controller), expected(rows, sort, filter)) << "step " << step;
        std::int64_t total = 0;
        for (const TallyRows::Row& row : rows.rows())
            total += row->value();
        ASSERT_EQ(controller.total(), total);
        std::erase_if(kept, [](const Kept& one) { return !one.index.isValid(); });
        for (const Kept& one : kept)
            ASSERT_EQ(one.index.data().toString().toStdString(), one.label) << "step " << step;
        if (model.rowCount() > 0) {
            const QPersistentModelIndex index(model.index(upTo(model.rowCount()), section));
            kept.push_back({index, index.data().toString().toStdString()});
        }
    }
}

TEST(TallyArrayControllerTest, ColumnsCompareByWhatTheyMean) {
    TallyRows rows;
    rows.replace({portRow("8080", 1), portRow("443", 5), portRow("22", 5), portRow("1500", 2)});
    TallyArrayController controller(rows);
    EXPECT_EQ(shown(controller), (Texts{"443", "22", "1500", "8080"})) << "ties as they came";
    struct Case {
        TallyColumn column;
        TallySortDirection direction;
        Texts labels;
    };
    using enum TallySortDirection;
    const Case cases[]{
        {TallyColumn::port, ascending, {"22", "443", "1500", "8080"}},
        {TallyColumn::service, ascending, {"443", "22", "1500", "8080"}},
        {TallyColumn::service, descending, {"1500", "22", "443", "8080"}},
        {TallyColumn::share, ascending, {"8080", "1500", "443", "22"}},
        {TallyColumn::legend, descending, {"8080", "443", "22", "1500"}},
    };
    for (const Case& one : cases) {
        controller.setSort({one.column, one.direction});
        EXPECT_EQ(shown(controller), one.labels) << describe(one.column).name;
    }
}

TEST(TallyFilterTest, WordsBlocksAndRangesHideTheOtherRows) {
    const std::vector<TallyRows::Row> all{addressRow("198.51.100.7", 1),
                                          addressRow("198.51.101.7", 1),
                                          addressRow("2001:db8::9", 1),
                                          addressRow("2001:db9::9", 1),
                                          portRow("443", 1),
                                          portRow("1500", 1)};
    struct Case {
        const char* text;
        Texts labels;
    };
    const Case cases[]{
        {"  ", {"198.51.100.7", "198.51.101.7", "2001:db8::9", "2001:db9::9", "443", "1500"}},
        {"198.51.100.0/24", {"198.51.100.7"}},
        {"198.51.100.0/23 -100", {"198.51.101.7"}},
        {"2001:DB8::/32", {"2001:db8::9"}},
        {"-2001:db8::/31 -1500", {"198.51.100.7", "198.51.101.7", "443"}},
        {"443-1499", {"443"}},
        {"HTTP", {"443"}},
        {"-vlsi -.7 -::", {"443"}},
        {"db9 -", {"2001:db9::9"}},
        {"198.51.100.0/33", {}},
        {"2000-1000", {}},
    };
    for (const Case& one : cases) {
        const TallyFilter filter(one.text);
        Texts labels;
        for (const TallyRows::Row& row : all)
            if (filter.matches(*row))
                labels.push_back(row->label());
        EXPECT_EQ(labels, one.labels) << one.text;
    }
}

TEST(TallyExportTest, CellsAreQuotedAndNamesFromOutsideAreNoFormulas) {
    TallyRows rows;
    const auto named = addressRow("192.0.2.1", 1);
    rows.replace({named, addressRow("2001:db8::1", 2)});
    rows.add(addressRow("odd,\"label\"", 1));
    TallyArrayController controller(rows);
    controller.flush();
    const auto columns = tallyColumns(TallyTableKind::addressesOfPort);
    EXPECT_EQ(tallyCsv(controller, columns), "Nation,Address,Host Name,Records,Share in %\r\n"
                                             ",2001:db8::1,,2,50.0000\r\n"
                                             ",192.0.2.1,,1,25.0000\r\n"
                                             ",\"odd,\"\"label\"\"\",,1,25.0000\r\n");
    rows.replace({addressRow("=cmd", 1)});
    EXPECT_EQ(tallyCsv(controller, columns).substr(45), ",'=cmd,,1,100.0000\r\n");
}

TEST(TallyColumnTest, NumbersReadWell) {
    EXPECT_EQ(groupedNumber(1234567), "1,234,567");
    EXPECT_EQ(groupedNumber(-123456), "-123,456");
    EXPECT_EQ(groupedNumber(999), "999");
    EXPECT_EQ(shareText(0), "0.0 %");
    EXPECT_EQ(shareText(0.0001), "< 0.1 %");
    EXPECT_EQ(shareText(0.1234), "12.3 %");
    EXPECT_EQ(shareText(1), "100.0 %");
}

} // namespace
} // namespace brindle
