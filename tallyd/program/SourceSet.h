// SPDX-License-Identifier: BSD-2-Clause
//
// The sources of a serving daemon, as they are changed while it runs: a source that stays in the
// list is not disturbed, one that comes back goes on where it stopped and keeps its figures. Owned
// by `serve`, which calls it on the main thread; the intake outlives it.
//
//     SourceSet sources;
//     sources.prepare({"nflog:5"}); // may need rights that are given up afterwards
//     sources.start(intake);
//     sources.replace({"nflog:5", "filterlog:/var/log/filter.log"});
#pragma once

#include "tallyd/program/CountingSink.h"
#include "tallyd/sources/Source.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <tl/expected.hpp>

namespace brindle::tallyd {

class SourceSet {
  public:
    using MakeSource = std::function<tl::expected<std::unique_ptr<Source>, std::string>(
        const std::string& spec, const ActionPatterns& patterns)>;

    explicit SourceSet(MakeSource make = makeSource) : make_(std::move(make)) {}

    /// Makes them, without starting any. `patterns`: what a log prefix means to them. Error: of the
    /// first that cannot be made; then nothing has changed.
    tl::expected<void, std::string> prepare(const std::vector<std::string>& specs,
                                            const ActionPatterns& patterns = ActionPatterns());
    /// Starts what was prepared. To be called once.
    void start(RecordSink& sink);

    struct Changes {
        std::size_t added = 0;
        std::size_t removed = 0;
    };
    /// After `start`: afterwards these run. `patterns` are for those that are new, the others keep
    /// theirs. Error: as `prepare`; what ran runs on.
    tl::expected<Changes, std::string> replace(const std::vector<std::string>& specs,
                                               const ActionPatterns& patterns = ActionPatterns());
    /// Stops and removes all of them.
    void clear() { sources_.clear(); }

    /// What the sources handed over since the start, lost before or not.
    std::uint64_t handedOver() const { return sink_ ? sink_->handedOver() : 0; }

  private:
    using Sources = std::vector<std::unique_ptr<Source>>;

    tl::expected<Sources, std::string> makeMissing(const std::vector<std::string>& specs,
                                                   const ActionPatterns& patterns) const;

    const MakeSource make_;
    std::unique_ptr<CountingSink> sink_; ///< of the sources below
    Sources sources_;
};

} // namespace brindle::tallyd
