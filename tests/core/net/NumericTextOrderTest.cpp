// SPDX-License-Identifier: BSD-2-Clause
#include "core/net/NumericTextOrder.h"

#include "core/net/IpRange.h"

#include <compare>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace brindle {
namespace {

int sign(std::weak_ordering order) {
    return order < 0 ? -1 : order > 0 ? 1 : 0;
}

int keyOrder(std::string_view a, std::string_view b) {
    return sign(numericOrderKey(a) <=> numericOrderKey(b));
}

TEST(NumericTextOrder, NumbersByValueEverythingElseByCode) {
    const std::string longNine(300, '9');
    const struct {
        std::string smaller;
        std::string greater;
    } cases[] = {
        {"10.0.0.9", "10.0.0.255"}, // plain character order has these the other way round
        {"9", "10"},
        {"a9", "a10"},
        {"", "0"},
        {"0", "0.0"},
        {"1", "1a"},
        {"1a", "12"}, // the whole run counts: 1 before 12
        {"fe80::1", "fe80::a"},
        {"fe80::9", "fe80::10"},
        {"2001:db8::", "2001:db8::1"},
        {"2001:db8:", "2001:db8a"},
        {"18446744073709551616", "18446744073709551617"}, // beyond 64 bits
        {longNine, "1" + std::string(300, '0')},
        {"a/1", "a:"},
        {"a1", "a:"}, // a colon stands after the digits
        {"a.", "a1"}, // a full stop before them
        {"z", "\xC3\xA4"},
    };
    for (const auto& [smaller, greater] : cases) {
        EXPECT_EQ(sign(numericTextOrder(smaller, greater)), -1) << smaller << " | " << greater;
        EXPECT_EQ(sign(numericTextOrder(greater, smaller)), 1) << smaller << " | " << greater;
        EXPECT_EQ(keyOrder(smaller, greater), -1) << smaller << " | " << greater;
    }
    for (const auto& [a, b] : {std::pair("007", "7"), {"10.0.0.01", "10.0.0.1"}, {"0", "000"}}) {
        EXPECT_EQ(sign(numericTextOrder(a, b)), 0) << a << " | " << b;
        EXPECT_EQ(keyOrder(a, b), 0) << a << " | " << b;
    }
}

TEST(NumericTextOrder, IsAnOrderAndItsKeysAgree) {
    std::mt19937 random(20240611);
    const std::string letters = "000112399abf:./-z\x7F\xC3\xFF";
    std::vector<std::string> texts;
    for (int i = 0; i < 120; ++i) {
        std::string text;
        for (std::size_t length = random() % 7; length > 0; --length)
            text += letters[random() % letters.size()];
        texts.push_back(text);
    }
    for (const auto& a : texts)
        for (const auto& b : texts) {
            const int order = sign(numericTextOrder(a, b));
            ASSERT_EQ(order, -sign(numericTextOrder(b, a))) << a << " | " << b;
            ASSERT_EQ(order, keyOrder(a, b)) << a << " | " << b;
            for (const auto& c : texts)
                if (order <= 0 && numericTextOrder(b, c) <= 0) {
                    ASSERT_LE(sign(numericTextOrder(a, c)), 0) << a << " | " << b << " | " << c;
                }
        }
}

TEST(NumericTextOrder, DottedQuadsOrderAsTheirNumbers) {
    std::mt19937 random(7);
    for (int i = 0; i < 20000; ++i) {
        const auto a = static_cast<std::uint32_t>(random());
        // Near neighbours as often as far ones.
        const auto b = i % 2 ? static_cast<std::uint32_t>(random()) : a + random() % 600 - 300;
        ASSERT_EQ(sign(numericTextOrder(addressFromNumber(a).text(), addressFromNumber(b).text())),
                  sign(a <=> b))
            << a << " " << b;
    }
}

} // namespace
} // namespace brindle
