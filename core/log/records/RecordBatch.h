// SPDX-License-Identifier: BSD-2-Clause
//
// A run of records of one query answer: fixed-size rows that name their texts by index, each
// distinct text held once. Built by the store (and by the client's decoder), immutable afterwards,
// shared by every row object made from it and read from any thread.
//
//     RecordBatchBuilder builder;
//     builder.add({.epoch = 1.5, .rule = builder.intern("12"), ...});
//     std::shared_ptr<const RecordBatch> batch = builder.finish();
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace brindle {

/// Index of a text within its batch.
using TextIndex = std::uint16_t;

struct RecordRow {
    double epoch = 0; ///< seconds since 1970-01-01 00:00 UTC, fractional
    std::uint32_t uid = 4294967295u;
    std::uint16_t srcport = 0; ///< host byte order
    std::uint16_t dstport = 0;
    TextIndex rule = 0;
    TextIndex action = 0;    ///< "pass" or "block"
    TextIndex direction = 0; ///< "in" or "out"
    TextIndex interface = 0;
    TextIndex srcip = 0;
    TextIndex dstip = 0;
    TextIndex proto = 0;
    std::uint16_t reserved = 0;

    friend bool operator==(const RecordRow&, const RecordRow&) = default;
};
static_assert(sizeof(RecordRow) == 32);

class RecordBatch {
  public:
    /// Seven texts a row at the most, so that every text index fits 16 bits.
    static constexpr std::size_t kMaxRows = 8192;

    std::size_t size() const { return rows_.size(); }
    bool empty() const { return rows_.empty(); }
    std::span<const RecordRow> rows() const { return rows_; }
    const RecordRow& row(std::size_t index) const { return rows_[index]; }

    std::size_t textCount() const { return textEnds_.size(); }
    /// The text of an index taken from a row of this batch.
    std::string_view text(TextIndex index) const {
        const std::uint32_t begin = index == 0 ? 0 : textEnds_[index - 1];
        return std::string_view(characters_).substr(begin, textEnds_[index] - begin);
    }
    /// All texts one after the other, and where each of them ends.
    std::string_view characters() const { return characters_; }
    std::span<const std::uint32_t> textEnds() const { return textEnds_; }

    /// Takes parts that came over a connection. Nothing when a row names a text that is not there
    /// or the ends do not grow up to the number of characters.
    static std::shared_ptr<const RecordBatch> fromParts(std::vector<RecordRow> rows,
                                                        std::string characters,
                                                        std::vector<std::uint32_t> textEnds);

    /// Bytes that this batch holds, for accounting.
    std::size_t memoryBytes() const;

  private:
    friend class RecordBatchBuilder;
    RecordBatch() = default;

    std::vector<RecordRow> rows_;
    std::string characters_;
    std::vector<std::uint32_t> textEnds_;
};

class RecordBatchBuilder {
  public:
    /// The index of `text`, the same for equal texts. A full batch of rows always finds room.
    TextIndex intern(std::string_view text);
    void add(const RecordRow& row) { batch_->rows_.push_back(row); }
    std::size_t size() const { return batch_->rows_.size(); }
    bool full() const { return size() >= RecordBatch::kMaxRows; }
    /// Hands the batch out and starts an empty one.
    std::shared_ptr<const RecordBatch> finish();

  private:
    struct TextHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const {
            return std::hash<std::string_view>{}(text);
        }
    };
    struct TextEqual {
        using is_transparent = void;
        bool operator()(std::string_view a, std::string_view b) const { return a == b; }
    };

    std::shared_ptr<RecordBatch> batch_{new RecordBatch};
    std::unordered_map<std::string, TextIndex, TextHash, TextEqual> indexes_;
};

} // namespace brindle
