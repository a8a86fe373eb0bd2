// SPDX-License-Identifier: BSD-2-Clause
//
// The indexed test against a plain scan over the four derived lists, also for texts that are no
// addresses at all.
#include "core/exclusions/ExclusionMatcher.h"
#include "core/exclusions/ExclusionFromText.h"
#include "core/net/NWKIPTools.h"
#include "core/net/NumericTextOrder.h"

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace brindle {
namespace {

bool scan(const ExclusionLists& lists, const std::string& srcip, const std::string& srcport,
          const std::string& dstip, const std::string& dstport, int family) {
    const auto holds = [](const std::vector<std::string>& texts, const std::string& text) {
        return std::ranges::find(texts, text) != texts.end();
    };
    const auto between = [](const ExcludedRange& range, const std::string& text) {
        return numericTextOrder(range.low, text) < 0 && numericTextOrder(text, range.high) < 0;
    };
    bool excluded = holds(lists.excludedPorts, srcport) || holds(lists.excludedPorts, dstport) ||
                    holds(lists.excludedAddresses, srcip) || holds(lists.excludedAddresses, dstip);
    if (family == 4 || family == 6)
        for (const auto& range : family == 4 ? lists.excludedRangesV4 : lists.excludedRangesV6)
            excluded = excluded || between(range, srcip) || between(range, dstip);
    return excluded;
}

/// Addresses, near misses of addresses, and noise.
class RandomTexts {
  public:
    explicit RandomTexts(unsigned seed) : random_(seed) {}

    unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }

    std::string text() {
        switch (below(8)) {
        case 0:
        case 1:
        case 2:
            return ipv4StringFromNumber(0x0A000000u + below(600));
        case 3:
            return "10.0." + std::to_string(below(3)) + ".0" +
                   std::to_string(below(20)); // octet 0n
        case 4:
            return "10.0." + std::to_string(below(300)); // three parts
        case 5: {
            Ipv6Groups groups{0x2001, 0xDB8};
            groups[7] = static_cast<std::uint16_t>(below(40));
            groups[below(5) + 2] = static_cast<std::uint16_t>(below(3));
            return ipv6StringFromGroups(groups);
        }
        case 6: {
            const std::string letters = "0012a:.\xC3";
            std::string noise;
            for (unsigned length = below(5); length > 0; --length)
                noise += letters[below(static_cast<unsigned>(letters.size()))];
            return noise;
        }
        default:
            return std::to_string(below(70000));
        }
    }

  private:
    std::mt19937 random_;
};

TEST(ExclusionMatcher, AnswersAsAScanDoes) {
    RandomTexts texts(20231114);
    int excluded = 0, shown = 0;
    for (int round = 0; round < 400; ++round) {
        std::vector<VDXExclusion> list;
        const char* types[] = {"ip", "port", "cidr", "cidr", "cidr", "Ip", ""};
        for (unsigned count = texts.below(12); count > 0; --count)
            list.emplace_back(types[texts.below(7)], texts.text(), texts.text(), texts.text(),
                              texts.below(3) == 0 ? 6 : 4);
        const ExclusionMatcher matcher(deriveExclusionLists(list));
        for (int record = 0; record < 200; ++record) {
            const std::string src = texts.text(), srcport = texts.text(), dst = texts.text(),
                              dstport = texts.text();
            const int family = static_cast<int>(texts.below(8));
            const bool expected = scan(matcher.lists(), src, srcport, dst, dstport, family);
            (expected ? excluded : shown) += 1;
            ASSERT_EQ(matcher.isExcluded(src, srcport, dst, dstport, family), expected)
                << "round " << round << ": " << src << " " << srcport << " " << dst << " "
                << dstport << " family " << family;
        }
    }
    EXPECT_GT(excluded, 5000);
    EXPECT_GT(shown, 5000);
}

TEST(ExclusionMatcher, EachRangeIndexAnswersAsAScanDoes) {
    RandomTexts texts(99);
    for (int round = 0; round < 300; ++round) {
        std::vector<ExcludedRange> ranges;
        for (unsigned count = texts.below(round % 2 ? 4 : 60); count > 0; --count)
            ranges.push_back({texts.text(), texts.text()});
        const RangeIndex index(ranges);
        for (int i = 0; i < 200; ++i) {
            // The bounds themselves are what an index gets wrong first.
            const std::string text = ranges.empty() || i % 2 ? texts.text()
                                     : i % 4
                                         ? ranges[static_cast<std::size_t>(i) % ranges.size()].low
                                         : ranges[static_cast<std::size_t>(i) % ranges.size()].high;
            const bool expected = std::ranges::any_of(ranges, [&](const ExcludedRange& range) {
                return numericTextOrder(range.low, text) < 0 &&
                       numericTextOrder(text, range.high) < 0;
            });
            ASSERT_EQ(index.covers(text), expected) << "round " << round << ": " << text;
        }
    }
}

/// The list that the given texts make when a user types them.
ExclusionLists typed(std::initializer_list<const char*> texts) {
    std::vector<VDXExclusion> list;
    for (const char* text : texts)
        list.push_back(std::get<VDXExclusion>(exclusionFromText(text)));
    return deriveExclusionLists(list);
}

TEST(ExclusionMatcher, HidesWhatTheUserTyped) {
    const ExclusionMatcher matcher(
        typed({"0080", "10.9.9.9", "10.0.0.0/24", "2001:db8::/64", "-1"}));
    const struct {
        const char* srcip;
        const char* srcport;
        const char* dstip;
        const char* dstport;
        int family;
        bool excluded;
    } cases[] = {
        {"192.0.2.1", "1", "192.0.2.2", "2", 4, false},
        {"192.0.2.1", "80", "192.0.2.2", "2", 4, true},
        {"192.0.2.1", "1", "192.0.2.2", "80", 0, true}, // ports count for every family
        {"192.0.2.1", "0080", "192.0.2.2", "+80", 4, false},
        {"10.9.9.9", "1", "192.0.2.2", "2", 4, true},
        {"192.0.2.1", "1", "10.9.9.9", "2", 17, true},
        {"10.0.0.5", "1", "192.0.2.2", "2", 4, true},
        {"192.0.2.1", "1", "10.0.0.9", "2", 4, true},   // after .255 in plain character order
        {"10.0.0.0", "1", "10.0.0.255", "2", 4, false}, // bounds do not match
        {"10.0.1.0", "1", "192.0.2.2", "2", 4, false},
        {"10.0.0.5", "1", "192.0.2.2", "2", 6, false}, // IPv6 records meet IPv6 blocks only
        {"10.0.0.5", "1", "192.0.2.2", "2", 0, false},
        {"2001:db8::5", "1", "::1", "2", 6, true},
        {"2001:db8::5", "1", "::1", "2", 4, false},
        {"2001:db8::", "1", "::1", "2", 6, false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(matcher.isExcluded(c.srcip, c.srcport, c.dstip, c.dstport, c.family), c.excluded)
            << c.srcip << " " << c.srcport << " " << c.dstip << " " << c.dstport << " " << c.family;
    const ExclusionMatcher empty{ExclusionLists()};
    EXPECT_FALSE(empty.isExcluded("", "", "", "", 4));
}

TEST(ExclusionFromText, TextsBecomeEntriesOrAreRefused) {
    const auto entry = [](const char* type, const char* text, const char* low, const char* high,
                          int version) -> ExclusionFromText {
        return VDXExclusion(type, text, low, high, version);
    };
    const std::pair<const char*, ExclusionFromText> cases[] = {
        {"", NoExclusion()},
        {"80", entry("port", "80", "", "", 4)},
        {"+80", entry("port", "80", "", "", 4)},
        {"0080", entry("port", "80", "", "", 4)},
        {"-1", entry("port", "-1", "", "", 4)},
        {"99999", entry("port", "99999", "", "", 4)},
        {"9223372036854775807", entry("port", "9223372036854775807", "", "", 4)},
        {"9223372036854775808", InvalidExclusion()},
        {"80a", InvalidExclusion()},
        {" 80", InvalidExclusion()},
        {"+-80", InvalidExclusion()},
        {"+", InvalidExclusion()},
        {"10/8", InvalidExclusion()}, // neither "." nor ":", so a port
        {"abc.def", InvalidExclusion()},
        {"10.0.0.1", entry("ip", "10.0.0.1", "", "", 4)},
        {"FE80::1", entry("ip", "FE80::1", "", "", 6)}, // kept as it was typed
        {"10.1.2.3/24", entry("cidr", "10.1.2.3/24", "10.1.2.0", "10.1.2.255", 4)},
        {"fe80::/10",
         entry("cidr", "fe80::/10", "fe80::", "febf:ffff:ffff:ffff:ffff:ffff:ffff:ffff", 6)},
        {"::/0", entry("cidr", "::/0", "::", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", 6)},
        {"1.2.3.4/32", InvalidExclusion()},
        {"1.2.3.4/032", InvalidExclusion()},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_TRUE(exclusionFromText(text) == expected) << text;
}

} // namespace
} // namespace brindle
