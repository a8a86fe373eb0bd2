// SPDX-License-Identifier: BSD-2-Clause
#include "bench/works/Works.h"

#include "bench/captures/Traffic.h"
#include "core/exclusions/ExclusionFromText.h"
#include "core/exclusions/ExclusionLists.h"
#include "core/exclusions/ExclusionMatcher.h"
#include "core/geo/NationBlockIndex.h"
#include "core/net/IpRange.h"

#include <memory>
#include <variant>

namespace brindle::bench {

namespace {

constexpr std::size_t kItems = 4096;
constexpr std::uint32_t kBlocks = 560'000;
constexpr int kEntries = 10'000;

/// Neighbouring blocks of /20 to /26 from 1.0.0.0 on.
NationBlockIndex nations() {
    Random random(1);
    NationBlockIndexBuilder blocks;
    std::uint32_t next = 1u << 24;
    for (std::uint32_t i = 0; i < kBlocks; ++i) {
        const auto hostBits = static_cast<unsigned>(6 + random.below(7));
        next = ((next >> hostBits) + 1) << hostBits;
        blocks.add(blockRange(next, 32 - hostBits), i / 2300);
        next += 1u << hostBits;
    }
    return std::move(blocks).build();
}

struct Packet {
    std::string srcip, srcport, dstip, dstport;
    int family;
};

/// Ports, addresses and blocks, none of which the traffic has: the dearest answer.
std::shared_ptr<const ExclusionMatcher> exclusions() {
    Random random(2);
    std::vector<VDXExclusion> list;
    for (int i = 0; i < kEntries / 4; ++i) {
        const auto host = static_cast<std::uint32_t>(random.below(1u << 24));
        const std::string quad = addressFromNumber(10u << 24 | host).text();
        for (const std::string& text : {std::to_string(30'000 + i), quad, quad + "/28",
                                        "2001:db9:" + std::to_string(i) + "::/64"})
            list.push_back(std::get<VDXExclusion>(exclusionFromText(text)));
    }
    return std::make_shared<ExclusionMatcher>(deriveExclusionLists(list));
}

std::vector<Packet> packets() {
    Traffic traffic(3, 50'000, Traffic::Remote::worldwide);
    std::vector<Packet> made;
    for (std::size_t i = 0; i < kItems; ++i) {
        const LoggedPacket packet = traffic.next();
        made.push_back({packet.src.text(), std::to_string(packet.srcport % 30'000),
                        packet.dst.text(), std::to_string(packet.dstport % 30'000),
                        packet.src.family() == IpAddress::Family::v6 ? 6 : 4});
    }
    return made;
}

} // namespace

std::vector<Work> lookupWorks() {
    struct Quads {
        NationBlockIndex index = nations();
        std::vector<std::string> texts;
    };
    auto quads = std::make_shared<Quads>();
    // Of the first half of the address space, where the blocks lie; none of them twice in a row.
    Random random(5);
    for (std::size_t i = 0; i < 2 * kItems; ++i)
        quads->texts.push_back(
            addressFromNumber(static_cast<std::uint32_t>(random.below(1u << 31))).text());
    return {
        {"nation of an address text", quads->texts.size(),
         [quads] {
             std::size_t sum = 0;
             for (const std::string& text : quads->texts)
                 sum += quads->index.find(*canonicalQuad(text)).value_or(0);
             return sum;
         }},
        {"exclusion test of a record", kItems,
         [matcher = exclusions(), made = std::make_shared<std::vector<Packet>>(packets())] {
             std::size_t hidden = 0;
             for (const Packet& p : *made)
                 hidden += matcher->isExcluded(p.srcip, p.srcport, p.dstip, p.dstport, p.family);
             return hidden;
         }},
    };
}

} // namespace brindle::bench
