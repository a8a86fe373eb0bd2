// SPDX-License-Identifier: BSD-2-Clause
//
// Reads the packet filter's lines from what the journal keeps of the kernel's messages. See
// SourceReader for who calls it.
#pragma once

#include "tallyd/sources/lines/LineDecoder.h"
#include "tallyd/sources/live/PlaceKeeper.h"
#include "tallyd/sources/live/SourceReader.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <tl/expected.hpp>

struct sd_journal;

namespace brindle::tallyd {

class KernelJournal final : public SourceReader {
  public:
    /// As sd_journal_open(): 0, or a negative errno.
    using OpenJournal = std::function<int(sd_journal** journal)>;

    /// `patterns`: what a line's prefix means.
    explicit KernelJournal(OpenJournal openJournal, ActionPatterns patterns = ActionPatterns());
    /// The system's journal of this machine.
    static std::unique_ptr<KernelJournal> ofThisMachine(ActionPatterns patterns = ActionPatterns());
    ~KernelJournal() override;

    tl::expected<void, std::string> open() override;
    std::string read(SourceFeed& feed) override;

  private:
    struct Close {
        void operator()(sd_journal* journal) const;
    };

    int seekPlace(const SourceFeed& feed);
    bool isReadAlready();
    void take();
    void handOn(SourceFeed& feed);
    std::string failure(int error);

    const OpenJournal openJournal_;
    const std::unique_ptr<LineDecoder> decoder_;
    std::unique_ptr<sd_journal, Close> journal_;
    std::string lastCursor_; ///< of an earlier run's last entry, until the first one of this run
    std::string place_;      ///< of the last entry read, in the journal's words
    std::vector<PacketRecord> records_;
    std::map<std::string_view, std::uint64_t> undecoded_;
    PlaceKeeper keeper_;
};

} // namespace brindle::tallyd
