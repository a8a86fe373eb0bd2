// SPDX-License-Identifier: BSD-2-Clause
#include "bench/works/Works.h"

#include "core/net/IpAddress.h"
#include "core/net/IpRange.h"
#include "core/net/NumericTextOrder.h"
#include "core/net/VDAddress.h"
#include "core/net/VDMatchIP.h"
#include "core/net/VDValidateIP.h"

#include <memory>

namespace brindle::bench {

namespace {

constexpr std::size_t kTexts = 4096;
constexpr std::size_t kTypedTexts = 512; ///< each takes over ten times as long

using Texts = std::shared_ptr<const std::vector<std::string>>;

/// `each` makes a number of one text.
template <typename Each>
Work overTexts(std::string name, const Texts& texts, Each each) {
    return {std::move(name), texts->size(), [texts, each] {
                std::size_t sum = 0;
                for (const std::string& text : *texts)
                    sum += each(text);
                return sum;
            }};
}

} // namespace

std::vector<Work> addressWorks() {
    const auto texts = std::make_shared<const std::vector<std::string>>(addressTexts(kTexts));
    auto addresses = std::make_shared<std::vector<IpAddress>>();
    auto blocks = std::make_shared<std::vector<std::string>>();
    auto quads = std::make_shared<std::vector<std::string>>();
    for (const std::string& text : *texts) {
        const bool v6 = text.find(':') != text.npos;
        addresses->push_back(*IpAddress::parse(text));
        if (blocks->size() < kTypedTexts)
            blocks->push_back(text + (v6 ? "/48" : "/20"));
        if (!v6)
            quads->push_back(text);
    }
    return {
        overTexts("address from text", texts,
                  [](const std::string& text) { return IpAddress::parse(text)->bytes().size(); }),
        {"text from address", kTexts,
         [addresses] {
             std::size_t sum = 0;
             for (const IpAddress& address : *addresses)
                 sum += address.text().size();
             return sum;
         }},
        overTexts("is an address", texts,
                  [](const std::string& text) -> std::size_t {
                      return VDValidateIP().isValidIpAddress(text);
                  }),
        overTexts("number of a quad", quads,
                  [](const std::string& text) -> std::size_t { return *canonicalQuad(text); }),
        overTexts("in a block", quads,
                  [](const std::string& text) -> std::size_t {
                      return VDMatchIP().matchIP(text, "86.0.0.0/8");
                  }),
        overTexts(
            "block from typed text", blocks,
            [](const std::string& text) -> std::size_t { return VDAddress::fromText(text)->max4; }),
        {"order of two texts", kTexts - 1,
         [texts] {
             std::size_t sum = 0;
             for (std::size_t i = 1; i < texts->size(); ++i)
                 sum += numericTextOrder((*texts)[i - 1], (*texts)[i]) < 0;
             return sum;
         }},
    };
}

} // namespace brindle::bench
