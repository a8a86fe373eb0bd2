// SPDX-License-Identifier: BSD-2-Clause
//
// Lines of records, in the form that was asked for. One object writes one answer: it remembers the
// table's column widths and the second whose date it wrote last. Used on one thread at a time.
//
//     RecordLines lines(Format::jsonl);
//     std::string out = lines.heading();
//     lines.append(*batch, out);
#pragma once

#include "core/log/records/RecordBatch.h"
#include "core/log/records/RecordDictionary.h"
#include "tallyctl/program/Arguments.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace brindle::tallyctl {

class RecordLines {
  public:
    explicit RecordLines(Format format);

    /// The line above the records; empty for JSON lines.
    std::string heading();
    /// One line a row, in the batch's order.
    void append(const RecordBatch& batch, std::string& out);
    /// One line; a key without a value is left out of JSON and empty elsewhere.
    void append(const RecordDictionary& record, std::string& out);

  private:
    static constexpr std::size_t kKeys = static_cast<std::size_t>(RecordKey::count);

    /// Values in the form of the output, by key; null data for a key without a value.
    using Fields = std::array<std::string_view, kKeys>;
    void appendLine(const Fields& fields, std::string& out);
    void appendJsonLine(const Fields& fields, std::string& out) const;
    void appendTableLine(const Fields& fields, std::string& out);
    std::string inForm(std::string_view text) const;
    std::string_view dateInForm(double epoch);
    std::string_view number(std::size_t key, std::int64_t value);
    std::string_view epochInForm(double epoch);

    Format format_;
    std::array<std::size_t, kKeys> widths_{};
    std::array<std::string, kKeys> jsonKeys_;
    std::array<std::string, kKeys> scratch_;
    std::vector<std::string> texts_; ///< of the batch at hand, each once
    std::int64_t dateSecond_;
    std::string date_;
};

} // namespace brindle::tallyctl
