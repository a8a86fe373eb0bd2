// SPDX-License-Identifier: BSD-2-Clause
//
// Lines that the kernel's packet filter writes to its log ("PREFIX IN=eth0 OUT= … SRC=… DST=…"), by
// whatever tool the rules were made. Owned by the one source or input that reads the lines.
#pragma once

#include "tallyd/sources/actions/ActionPatterns.h"
#include "tallyd/sources/header/LineHeader.h"

#include <string_view>

#include <tl/expected.hpp>

namespace brindle::tallyd {

class NetfilterDecoder {
  public:
    explicit NetfilterDecoder(ActionPatterns patterns = ActionPatterns())
        : actions_(std::move(patterns)) {}

    /// Whether a line is one of this kind, well-formed or not.
    static bool recognises(std::string_view line);

    /// `line`: any text, without its line feed. Error: why it makes no record, a text that lives as
    /// long as the program.
    tl::expected<PacketRecord, std::string_view> decode(std::string_view line,
                                                        const LineClock& clock);

  private:
    LineHeaderReader headers_;
    PrefixActions actions_;
};

} // namespace brindle::tallyd
