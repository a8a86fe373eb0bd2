// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/program/Import.h"

#include "tallyd/store/Intake.h"

#include <fmt/format.h>

namespace brindle::tallyd {

namespace {

constexpr std::size_t kChunkRecords = 4096;

void readAll(InputFile& input, RecordSink& sink, SourceId source) {
    bool more = true;
    while (more) {
        std::vector<PacketRecord> records;
        records.reserve(kChunkRecords);
        more = input.read(records, kChunkRecords);
        sink.add(source, std::move(records), RecordSink::WhenFull::wait);
    }
    for (const auto& [reason, count] : input.skipped())
        sink.countLost(source, reason, count);
}

} // namespace

ImportReport importInputs(std::unique_ptr<StoreWriter> writer,
                          const std::vector<std::string>& inputs, const OpenInput& open) {
    ImportReport report;
    Intake intake(std::move(writer), IntakeLimits::import());
    for (const std::string& path : inputs) {
        const auto input = open(path);
        if (!input) {
            report.problems.push_back(input.error());
            continue;
        }
        readAll(**input, intake, intake.addSource(path));
        for (const auto& [reason, count] : (*input)->skipped())
            report.skipped[reason] += count;
        if (!(*input)->problem().empty())
            report.problems.push_back((*input)->problem());
    }
    const auto drained = intake.drain();
    const DaemonStatus status = intake.status();
    report.imported = status.stored;
    if (const auto lost = status.lost.find("store"); lost != status.lost.end())
        report.storeError = fmt::format("{} records could not be stored", lost->second);
    else if (!drained)
        report.storeError = drained.error();
    return report;
}

std::uint64_t ImportReport::skippedCount() const {
    std::uint64_t sum = 0;
    for (const auto& [reason, count] : skipped)
        sum += count;
    return sum;
}

int ImportReport::exitStatus() const {
    if (!storeError.empty())
        return 1;
    return problems.empty() ? 0 : 3;
}

std::string ImportReport::text() const {
    std::string text = fmt::format("imported {} records, skipped {}\n", imported, skippedCount());
    for (const auto& [reason, count] : skipped)
        text += fmt::format("  {}: {}\n", reason, count);
    return text;
}

} // namespace brindle::tallyd
