// SPDX-License-Identifier: BSD-2-Clause
//
// Log lines of both text forms.
#include "tallyd/sources/filterlog/FilterlogDecoder.h"
#include "tallyd/sources/lines/LineDecoder.h"
#include "tallyd/sources/netfilter/NetfilterDecoder.h"
#include "tests/fuzz/Target.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace brindle;
    const std::string_view line = test::textOf(data, size);
    const tallyd::LineClock clock{.nowMicros = 1'700'000'000'000'000,
                                  .fallbackMicros = 1'700'000'000'000'000,
                                  .bootMicros = 1'699'000'000'000'000};
    tallyd::NetfilterDecoder netfilter;
    tallyd::FilterlogDecoder filterlog;
    for (const auto& record : {netfilter.decode(line, clock), filterlog.decode(line, clock)})
        if (record)
            test::require(record->src.isValid() && record->dst.isValid());
    // Out of a log of many programs: nothing of what another one wrote.
    for (const auto kind : {tallyd::LineKind::netfilter, tallyd::LineKind::filterlog}) {
        const bool isOurs = kind == tallyd::LineKind::netfilter
                                ? tallyd::NetfilterDecoder::recognises(line)
                                : tallyd::FilterlogDecoder::recognises(line);
        const auto picked = tallyd::makeLineDecoder(kind)->decode(line, clock);
        test::require(picked.has_value() == isOurs);
        if (picked && *picked)
            test::require((*picked)->src.isValid() && (*picked)->dst.isValid());
    }
    return 0;
}
