// SPDX-License-Identifier: BSD-2-Clause
#include "app/logs/table/Arrangement.h"

#include "app/logs/table/RankedKeys.h"

#include <span>
#include <string>
#include <unordered_map>

namespace brindle {
namespace {

class Arranger {
  public:
    Arranger(const ArrangementInput& input, const std::atomic<bool>& abandoned)
        : input_(input), abandoned_(abandoned) {}

    std::optional<std::vector<RowSlot>> run() {
        if (input_.sort)
            keys_.reserve(static_cast<std::size_t>(input_.endPlace - input_.beginPlace));
        std::optional<FilterMatcher> matcher;
        if (input_.filter && !input_.filter->empty())
            matcher.emplace(*input_.filter, input_.names);
        for (const RowRun& run : input_.runs) {
            if (abandoned_)
                return std::nullopt;
            passes_.assign(run.count, 1);
            if (matcher && run.batch)
                matcher->match(*run.batch, run.firstRow, passes_);
            takeJudged(run);
            if (!input_.sort)
                collect(run);
            else if (run.batch)
                collectKeys(run);
        }
        if (!input_.sort)
            return std::move(slots_);
        std::optional<std::vector<std::uint32_t>> slots =
            keys_.sorted(input_.sort->direction, abandoned_);
        if (slots)
            for (std::uint32_t& slot : *slots)
                slot += LogRows::slotAt(input_.beginPlace);
        return slots;
    }

  private:
    std::uint32_t orderOf(std::int64_t place) const {
        return static_cast<std::uint32_t>(place - input_.beginPlace);
    }

    /// Rows that were judged beforehand take no part in what the batch says.
    void takeJudged(const RowRun& run) {
        const std::int64_t end = run.firstPlace + run.count;
        for (; nextJudged_ < input_.judged.size() && input_.judged[nextJudged_].place < end;
             ++nextJudged_) {
            const JudgedRow& row = input_.judged[nextJudged_];
            std::uint8_t& passes = passes_[static_cast<std::size_t>(row.place - run.firstPlace)];
            passes = row.passes;
            if (row.passes && input_.sort) {
                keys_.add(orderOf(row.place), keys_.code(row.key));
                passes = 0; // it has its key
            }
        }
    }

    void collect(const RowRun& run) {
        for (std::uint32_t i = 0; i < run.count; ++i)
            if (passes_[i])
                slots_.push_back(LogRows::slotAt(run.firstPlace + i));
    }

    /// `codeOf`: the code of a row.
    template <typename CodeOf>
    void addKeys(const RowRun& run, CodeOf codeOf) {
        const std::span<const RecordRow> rows = run.batch->rows().subspan(run.firstRow, run.count);
        const std::uint32_t first = orderOf(run.firstPlace);
        for (std::uint32_t i = 0; i < run.count; ++i)
            if (passes_[i])
                keys_.add(first + i, codeOf(rows[i]));
    }

    /// Each distinct text of the batch is coded once.
    template <typename KeyOf>
    void addTextKeys(const RowRun& run, TextIndex RecordRow::*index, KeyOf keyOf) {
        textCodes_.assign(run.batch->textCount(), RankedKeys::kNoCode);
        addKeys(run, [&](const RecordRow& row) {
            std::uint64_t& code = textCodes_[row.*index];
            if (code == RankedKeys::kNoCode)
                code = keyOf(run.batch->text(row.*index));
            return code;
        });
    }

    std::uint64_t userCode(std::uint32_t uid) {
        const auto [known, isNew] = userCodes_.try_emplace(uid, 0);
        if (isNew) {
            const std::string_view name = input_.names.user(uid);
            known->second =
                keys_.code(sortKeyOfText(name.empty() ? std::to_string(uid) : std::string(name)));
        }
        return known->second;
    }

    void collectKeys(const RowRun& run) {
        const auto text = [this](std::string_view t) { return keys_.codeOfText(t); };
        const auto address = [this](std::string_view t) { return keys_.codeOfAddress(t); };
        switch (input_.sort->column) {
        case LogColumn::actionDirection: {
            const RecordBatch& batch = *run.batch;
            addKeys(run, [&](const RecordRow& row) {
                return sortKeyOfVerdict(actionFromText(batch.text(row.action)),
                                        directionFromText(batch.text(row.direction)))
                    .low;
            });
            break;
        }
        case LogColumn::date:
            addKeys(run, [](const RecordRow& row) { return sortKeyOfTime(row.epoch).low; });
            break;
        case LogColumn::user:
            addKeys(run, [this](const RecordRow& row) { return userCode(row.uid); });
            break;
        case LogColumn::rule:
            addTextKeys(run, &RecordRow::rule, text);
            break;
        case LogColumn::interface:
            addTextKeys(run, &RecordRow::interface, text);
            break;
        case LogColumn::source:
            addTextKeys(run, &RecordRow::srcip, address);
            break;
        case LogColumn::sourcePort:
            addKeys(run, [](const RecordRow& row) { return std::uint64_t{row.srcport}; });
            break;
        case LogColumn::destination:
            addTextKeys(run, &RecordRow::dstip, address);
            break;
        case LogColumn::destinationPort:
            addKeys(run, [](const RecordRow& row) { return std::uint64_t{row.dstport}; });
            break;
        case LogColumn::protocol:
            addTextKeys(run, &RecordRow::proto, text);
            break;
        case LogColumn::count:
            break;
        }
    }

    const ArrangementInput& input_;
    const std::atomic<bool>& abandoned_;
    std::size_t nextJudged_ = 0;
    std::vector<std::uint8_t> passes_; ///< of the run at hand
    std::vector<std::uint64_t> textCodes_;
    std::unordered_map<std::uint32_t, std::uint64_t> userCodes_;
    std::vector<RowSlot> slots_;
    RankedKeys keys_;
};

} // namespace

std::optional<std::vector<RowSlot>> arrange(const ArrangementInput& input,
                                            const std::atomic<bool>& abandoned) {
    return Arranger(input, abandoned).run();
}

} // namespace brindle
