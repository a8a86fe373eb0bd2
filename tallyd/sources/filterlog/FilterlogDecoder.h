// SPDX-License-Identifier: BSD-2-Clause
//
// Lines of the program filterlog, which writes pf's log as comma-separated text: from syslog, or
// bare. Owned by the one source or input that reads the lines.
#pragma once

#include "core/log/records/PacketRecord.h"
#include "tallyd/sources/header/LineHeader.h"

#include <string_view>

#include <tl/expected.hpp>

namespace brindle::tallyd {

class FilterlogDecoder {
  public:
    /// Whether a line is one of this kind, well-formed or not.
    static bool recognises(std::string_view line);

    /// `line`: any text, without its line feed. Error: why it makes no record, a text that lives as
    /// long as the program.
    tl::expected<PacketRecord, std::string_view> decode(std::string_view line,
                                                        const LineClock& clock);

  private:
    LineHeaderReader headers_;
};

} // namespace brindle::tallyd
