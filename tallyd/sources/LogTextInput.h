// SPDX-License-Identifier: BSD-2-Clause
//
// A text log as an input: syslog, kernel log or filterlog files, with lines of both packet filters
// and of other programs in any mixture. Made by openInput; one thread.
#pragma once

#include "tallyd/sources/InputFile.h"
#include "tallyd/sources/InputStream.h"
#include "tallyd/sources/filterlog/FilterlogDecoder.h"
#include "tallyd/sources/netfilter/NetfilterDecoder.h"

#include <string_view>

namespace brindle::tallyd {

class LogTextInput final : public InputFile {
  public:
    /// Whether an input that starts with these bytes (some hundred are enough) can be a text log.
    static bool recognises(std::string_view start);

    /// `clock` completes the lines' times. `patterns`: what a prefix means.
    LogTextInput(InputStream stream, LineClock clock, ActionPatterns patterns = ActionPatterns());

    bool read(std::vector<PacketRecord>& records, std::size_t limit) override;
    const std::map<std::string, std::uint64_t>& skipped() const override { return skipped_; }
    const std::string& problem() const override { return problem_; }

  private:
    enum class Line { complete, tooLong, none };

    Line readLine();
    tl::expected<PacketRecord, std::string_view> decode(std::string_view line);

    InputStream stream_;
    LineClock clock_;
    NetfilterDecoder netfilter_;
    FilterlogDecoder filterlog_;
    std::string line_;
    std::uint64_t lines_ = 0;
    std::map<std::string, std::uint64_t> skipped_;
    std::string problem_;
};

/// The clock for an open file: now, its last change, and the start of this machine.
LineClock clockFor(const InputStream& stream);

} // namespace brindle::tallyd
