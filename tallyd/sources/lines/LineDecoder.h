// SPDX-License-Identifier: BSD-2-Clause
//
// Lines of one packet filter, picked out of a log that other programs write to as well. Owned by
// the one reader of that log, on its thread.
#pragma once

#include "core/log/records/PacketRecord.h"
#include "tallyd/sources/actions/ActionPatterns.h"
#include "tallyd/sources/header/LineHeader.h"

#include <memory>
#include <optional>
#include <string_view>

#include <tl/expected.hpp>

namespace brindle::tallyd {

enum class LineKind { netfilter, filterlog };

class LineDecoder {
  public:
    virtual ~LineDecoder() = default;

    /// `line`: any text, without its line feed. Nothing for another program's line, which is no
    /// loss. Error: why a line of this packet filter makes no record, a text that lives as long as
    /// the program.
    virtual std::optional<tl::expected<PacketRecord, std::string_view>>
    decode(std::string_view line, const LineClock& clock) = 0;
};

/// `patterns`: what a prefix means, for lines that tell no verdict.
std::unique_ptr<LineDecoder> makeLineDecoder(LineKind kind,
                                             ActionPatterns patterns = ActionPatterns());

/// The clock for a line that is read now. `writtenMicros`: when it was written, as far as its log
/// can tell.
LineClock presentLineClock(std::int64_t writtenMicros);

} // namespace brindle::tallyd
