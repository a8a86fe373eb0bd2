// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/Source.h"

#include "tallyd/sources/ReplaySource.h"

#include <string_view>

#include <fmt/format.h>

namespace brindle::tallyd {

tl::expected<std::unique_ptr<Source>, std::string> makeSource(const std::string& spec) {
    const auto failure = [&spec](std::string_view reason) {
        return tl::unexpected(fmt::format("source \"{}\": {}", spec, reason));
    };
    const std::size_t colon = spec.find(':');
    const std::string_view kind = std::string_view(spec).substr(0, colon);
    if (colon == spec.npos)
        return failure("a kind and a colon are expected, as in replay:FILE");

    if (kind == "replay") {
        auto plan = ReplayPlan::parse(spec.substr(colon + 1));
        if (!plan)
            return failure(plan.error());
        auto source = ReplaySource::open(spec, *plan);
        if (!source)
            return failure(source.error());
        return std::unique_ptr<Source>(std::move(*source));
    }
    for (const std::string_view planned : {"pflog", "nflog", "netfilter", "filterlog"})
        if (kind == planned)
            return failure(fmt::format("this build cannot follow a live {} source; \"replay:\" "
                                       "plays a recording, and recordings can be imported",
                                       kind));
    return failure(fmt::format("there is no source of the kind \"{}\"", kind));
}

} // namespace brindle::tallyd
