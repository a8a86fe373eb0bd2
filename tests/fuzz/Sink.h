// SPDX-License-Identifier: BSD-2-Clause
//
// The sink of a live source under search: remembers where reading stands and holds every record
// against what must be true of it. One thread.
#pragma once

#include "tallyd/records/RecordSink.h"
#include "tests/fuzz/Target.h"

#include <string>
#include <utility>

namespace brindle::test {

class CheckingSink final : public tallyd::RecordSink {
  public:
    explicit CheckingSink(std::string position) : position_(std::move(position)) {}

    const std::string& position() const { return position_; }

    tallyd::SourceId addSource(const std::string&) override { return 1; }
    std::string storedPosition(tallyd::SourceId) override { return position_; }
    void setState(tallyd::SourceId, const std::string&) override {}
    void add(tallyd::SourceId, std::vector<PacketRecord> records, WhenFull,
             std::string position) override {
        for (const PacketRecord& record : records)
            require(record.src.isValid() && record.dst.isValid());
        position_ = std::move(position);
    }
    void countLost(tallyd::SourceId, std::string_view reason, std::uint64_t count) override {
        require(!reason.empty() && count > 0);
    }

  private:
    std::string position_;
};

} // namespace brindle::test
