// SPDX-License-Identifier: BSD-2-Clause
#include "bench/works/Works.h"

#include "bench/captures/Traffic.h"

#include <iterator>
#include <memory>
#include <unordered_map>

namespace brindle::bench {

std::vector<std::string> addressTexts(std::size_t count) {
    Traffic traffic(3, 50'000, Traffic::Remote::worldwide);
    std::vector<std::string> texts;
    while (texts.size() < count) {
        const LoggedPacket packet = traffic.next();
        texts.push_back((packet.outbound ? packet.dst : packet.src).text());
    }
    return texts;
}

Work referenceWork() {
    constexpr std::size_t kLookups = 8192;
    struct Data {
        std::vector<std::string> texts = addressTexts(kLookups);
        std::unordered_map<std::string, std::size_t> table;
    };
    const auto data = std::make_shared<Data>();
    for (const std::string& text : data->texts)
        data->table[text] += text.size();
    return {"reference", kLookups, [data] {
                std::size_t sum = 0;
                for (const std::string& text : data->texts) {
                    sum += data->table.find(text)->second;
                    for (const char c : text)
                        sum = sum * 31 + static_cast<unsigned char>(c);
                }
                return sum;
            }};
}

std::vector<Work> allWorks() {
    std::vector<Work> all;
    for (auto make : {addressWorks, lookupWorks, recordWorks, tallyWorks}) {
        std::vector<Work> some = make();
        std::move(some.begin(), some.end(), std::back_inserter(all));
    }
    return all;
}

} // namespace brindle::bench
