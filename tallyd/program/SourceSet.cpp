// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/program/SourceSet.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace brindle::tallyd {

tl::expected<SourceSet::Sources, std::string>
SourceSet::makeMissing(const std::vector<std::string>& specs,
                       const ActionPatterns& patterns) const {
    Sources made;
    for (const std::string& spec : specs) {
        if (std::any_of(sources_.begin(), sources_.end(),
                        [&](const auto& source) { return source->name() == spec; }))
            continue;
        auto source = make_(spec, patterns);
        if (!source)
            return tl::unexpected(source.error());
        made.push_back(std::move(*source));
    }
    return made;
}

tl::expected<void, std::string> SourceSet::prepare(const std::vector<std::string>& specs,
                                                   const ActionPatterns& patterns) {
    auto made = makeMissing(specs, patterns);
    if (!made)
        return tl::unexpected(made.error());
    sources_ = std::move(*made);
    return {};
}

void SourceSet::start(RecordSink& sink) {
    sink_ = std::make_unique<CountingSink>(sink);
    for (const auto& source : sources_)
        source->start(*sink_);
}

tl::expected<SourceSet::Changes, std::string>
SourceSet::replace(const std::vector<std::string>& specs, const ActionPatterns& patterns) {
    auto made = makeMissing(specs, patterns);
    if (!made)
        return tl::unexpected(made.error());
    const auto isKept = [&](const std::unique_ptr<Source>& source) {
        return std::find(specs.begin(), specs.end(), source->name()) != specs.end();
    };
    const auto firstGone = std::stable_partition(sources_.begin(), sources_.end(), isKept);
    Changes changes{.added = made->size(), .removed = 0};
    for (auto gone = firstGone; gone != sources_.end(); ++gone) {
        const std::string name = (*gone)->name();
        gone->reset(); // joins its thread: no later word of it undoes the next line
        sink_->setRemoved(name);
        ++changes.removed;
    }
    sources_.erase(firstGone, sources_.end());
    for (auto& source : *made) {
        source->start(*sink_);
        sources_.push_back(std::move(source));
    }
    return changes;
}

} // namespace brindle::tallyd
