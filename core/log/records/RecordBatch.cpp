// SPDX-License-Identifier: BSD-2-Clause
#include "core/log/records/RecordBatch.h"

#include <algorithm>
#include <utility>

namespace brindle {

std::shared_ptr<const RecordBatch> RecordBatch::fromParts(std::vector<RecordRow> rows,
                                                          std::string characters,
                                                          std::vector<std::uint32_t> textEnds) {
    if (!std::is_sorted(textEnds.begin(), textEnds.end()))
        return nullptr;
    if (!textEnds.empty() && textEnds.back() > characters.size())
        return nullptr;
    const std::size_t count = textEnds.size();
    const bool allThere = std::all_of(rows.begin(), rows.end(), [count](const RecordRow& row) {
        return std::max({row.rule, row.action, row.direction, row.interface, row.srcip, row.dstip,
                         row.proto}) < count;
    });
    if (!allThere)
        return nullptr;
    std::shared_ptr<RecordBatch> batch(new RecordBatch);
    batch->rows_ = std::move(rows);
    batch->characters_ = std::move(characters);
    batch->textEnds_ = std::move(textEnds);
    return batch;
}

std::size_t RecordBatch::memoryBytes() const {
    return sizeof *this + rows_.capacity() * sizeof(RecordRow) + characters_.capacity() +
           textEnds_.capacity() * sizeof(std::uint32_t);
}

TextIndex RecordBatchBuilder::intern(std::string_view text) {
    if (auto found = indexes_.find(text); found != indexes_.end())
        return found->second;
    const auto index = static_cast<TextIndex>(batch_->textEnds_.size());
    batch_->characters_.append(text);
    batch_->textEnds_.push_back(static_cast<std::uint32_t>(batch_->characters_.size()));
    indexes_.emplace(text, index);
    return index;
}

std::shared_ptr<const RecordBatch> RecordBatchBuilder::finish() {
    indexes_.clear();
    batch_->rows_.shrink_to_fit();
    batch_->characters_.shrink_to_fit();
    batch_->textEnds_.shrink_to_fit();
    return std::exchange(batch_, std::shared_ptr<RecordBatch>(new RecordBatch));
}

} // namespace brindle
