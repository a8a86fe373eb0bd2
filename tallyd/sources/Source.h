// SPDX-License-Identifier: BSD-2-Clause
//
// A live source of records, made from what a user configured. Owned by the daemon's
// composition root, which starts it and destroys it before the sink that it feeds.
//
//     auto source = makeSource("replay:/var/log/pflog@10,loop");
//     if (source) (*source)->start(sink);
#pragma once

#include "tallyd/records/RecordSink.h"
#include "tallyd/sources/actions/ActionPatterns.h"

#include <memory>
#include <string>

#include <tl/expected.hpp>

namespace brindle::tallyd {

/// A live source: one thread of its own between start and destruction.
class Source {
  public:
    /// Stops and joins. Returns as soon as the sink has taken what it was just being handed.
    virtual ~Source() = default;

    /// The text it was made from.
    virtual const std::string& name() const = 0;
    /// Registers with the sink and begins. To be called once; the sink outlives the source.
    virtual void start(RecordSink& sink) = 0;
};

/// `spec`: see parseSourceSpec. `patterns`: what a log prefix means. What it reads is opened here,
/// so that it may be something that the daemon cannot open any more once it has given up its
/// rights. A live device or file that is not there is no error: its source waits for it. Error: one
/// line that names the text and the reason.
tl::expected<std::unique_ptr<Source>, std::string>
makeSource(const std::string& spec, ActionPatterns patterns = ActionPatterns());

} // namespace brindle::tallyd
