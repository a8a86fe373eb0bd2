// SPDX-License-Identifier: BSD-2-Clause
#include "app/stats/PieSlices.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <ostream>

namespace brindle {
namespace {

using Values = std::vector<std::int64_t>;
constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();

struct Case {
    const char* what;
    Values info;
    std::vector<double> ends; ///< of the slices in order; each starts where the one before ends
    std::vector<int> colours;
    std::int64_t total;
};
void PrintTo(const Case& one, std::ostream* stream) {
    *stream << one.what;
}

const Values kTwelve{8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 2};

class PieGeometry : public testing::TestWithParam<Case> {};

TEST_P(PieGeometry, SlicesFollowEachOtherFromTheRight) {
    const Case& expected = GetParam();
    const PieSlices pie(expected.info);
    EXPECT_EQ(pie.total(), expected.total);
    std::vector<int> colours;
    double end = 0;
    std::size_t entry = 0;
    ASSERT_EQ(pie.slices().size(), expected.ends.size());
    for (std::size_t i = 0; i < pie.slices().size(); ++i) {
        const PieSlice& slice = pie.slices()[i];
        colours.push_back(slice.colour);
        EXPECT_EQ(slice.start, end) << i;
        EXPECT_NEAR(slice.end, expected.ends[i], 1e-9) << i;
        EXPECT_EQ(slice.firstEntry, entry) << i;
        end = slice.end;
        entry += slice.entries;
    }
    EXPECT_EQ(colours, expected.colours);
    EXPECT_EQ(end, 360.0) << "no gap is left, and nothing goes round twice";
    EXPECT_EQ(entry, expected.info.size()) << "each entry belongs to one slice";
}

INSTANTIATE_TEST_SUITE_P(
    Lists, PieGeometry,
    testing::Values(
        Case{"two", {3, 1}, {270, 360}, {1, 2}, 4}, Case{"one", {5}, {360}, {1}, 5},
        Case{"empty", {}, {360}, {0}, 0}, Case{"zeros only", {0, 0, 0}, {360}, {0}, 0},
        Case{"a zero in between takes no room", {1, 0, 1}, {180, 180, 360}, {1, 2, 3}, 2},
        Case{"a zero at the end", {2, 0}, {360, 360}, {1, 2}, 2},
        Case{"below zero is zero", {-7, 6, 2}, {0, 270, 360}, {1, 2, 3}, 8},
        Case{"ten entries leave no remainder",
             Values(10, 3),
             {36, 72, 108, 144, 180, 216, 252, 288, 324, 360},
             {1, 2, 3, 4, 5, 6, 7, 8, 9, 10},
             30},
        Case{"the eleventh and twelfth share one",
             kTwelve,
             {32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 360},
             {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 0},
             90},
        Case{"only the remainder has a value",
             {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 4},
             {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 360},
             {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 0},
             4},
        Case{"a remainder without a value",
             {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0},
             {36, 72, 108, 144, 180, 216, 252, 288, 324, 360, 360},
             {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 0},
             10},
        Case{"more than the total can hold", {kLargest, kLargest}, {180, 360}, {1, 2}, kLargest}));

TEST(PieSlices, TheSliceUnderAPointIsTheOnePaintedThere) {
    const PieSlices pie(kTwelve);
    for (int degrees = 0; degrees < 360; ++degrees) {
        const double angle = (degrees + 0.5) * std::numbers::pi / 180;
        const auto found = pie.sliceAt(60 * std::cos(angle), 60 * std::sin(angle), 70);
        ASSERT_TRUE(found) << degrees;
        EXPECT_EQ(*found, std::min<std::size_t>(10, static_cast<std::size_t>(degrees / 32)))
            << degrees;
    }
    EXPECT_EQ(pie.sliceAt(70, 0, 70), 0u) << "the rim belongs to the disc";
    EXPECT_FALSE(pie.sliceAt(70.1, 0, 70));
    EXPECT_FALSE(pie.sliceAt(50, 50, 70));
    EXPECT_EQ(pie.sliceAt(50, -1e-20, 70), 0u) << "an angle that rounds to the full circle";
    EXPECT_EQ(PieSlices(Values{0, 5}).sliceAt(1, 0, 70), 1u) << "an empty slice is nowhere";
    EXPECT_EQ(PieSlices().sliceAt(-3, -3, 70), 0u) << "without values: the whole disc";
}

TEST(PieSlices, EntriesFindTheirSliceAndItsShare) {
    const PieSlices pie(kTwelve);
    EXPECT_EQ(pie.sliceOf(9), 9u);
    EXPECT_EQ(pie.sliceOf(10), 10u);
    EXPECT_EQ(pie.sliceOf(11), 10u);
    EXPECT_FALSE(pie.sliceOf(12));
    EXPECT_EQ(pie.slices()[10].value, 10);
    EXPECT_DOUBLE_EQ(pie.share(10), 10.0 / 90);
    EXPECT_EQ(PieSlices(Values{0}).share(0), 0);
    EXPECT_FALSE(PieSlices().sliceOf(0));
}

} // namespace
} // namespace brindle
