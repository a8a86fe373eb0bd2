// SPDX-License-Identifier: BSD-2-Clause
//
// The search filter of the logs table: words and `field:value` terms, all of which must hold.
// Parsed once from what the user typed; immutable, shared, evaluated from any thread: a row at a
// time on the main thread, or a batch at a time, where each term looks at a distinct text only
// once.
//
//     auto filter = FilterExpression::parse("blocked -src:10.0.0.0/8 dport:1000-2000");
//     if (!filter) mark(filter.error().position, filter.error().sentence);
#pragma once

#include "core/log/VDXLog.h"
#include "core/log/records/RecordBatch.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <tl/expected.hpp>

namespace brindle {

struct FilterTerm;

/// A mistake in what the user typed.
struct FilterError {
    std::size_t position = 0; ///< byte of the text where the faulty term begins
    std::size_t length = 0;   ///< bytes of the faulty term
    std::string sentence;     ///< UTF-8, for the user, names the faulty part
};

/// User names by uid.
using UserNames = std::shared_ptr<const std::unordered_map<std::uint32_t, std::string>>;

/// The names that rows of a batch are shown with, as values that a worker thread can hold.
struct FilterNames {
    /// Service names by port number, 65536 of them; null: no port has a name.
    std::shared_ptr<const std::vector<std::string>> services;
    /// Null, missing and empty: shown as the number.
    UserNames users;

    std::string_view service(std::uint16_t port) const;
    std::string_view user(std::uint32_t uid) const;
};

class FilterExpression {
  public:
    /// Every row passes.
    FilterExpression() = default;
    /// An empty or blank text gives an expression that every row passes.
    static tl::expected<FilterExpression, FilterError> parse(std::string_view text);

    bool empty() const { return terms_.empty(); }

    /// One row; main thread.
    bool matches(const VDXLog& log) const;

  private:
    friend class FilterMatcher;
    std::vector<std::shared_ptr<const FilterTerm>> terms_;
};

/// Evaluates an expression on many rows. Keeps what it found out about ports and users from batch
/// to batch; one for each piece of work, used by one thread.
class FilterMatcher {
  public:
    /// The expression outlives the matcher.
    FilterMatcher(const FilterExpression& expression, FilterNames names);
    ~FilterMatcher();

    /// Rows `first` to `first + passes.size()` of a batch, as they are shown when no row has texts
    /// of its own. Sets each element to 1 or 0.
    void match(const RecordBatch& batch, std::size_t first, std::span<std::uint8_t> passes);

  private:
    struct TermState;
    FilterNames names_;
    std::vector<TermState> states_;
    std::string folded_; ///< the batch's characters in lower case
};

/// The fields that terms can name, with a short explanation each, for help texts and completion.
struct FilterFieldInfo {
    std::string_view name;        ///< "src"
    std::string_view explanation; ///< "Source address: a block, an address, or how it begins"
};
const std::vector<FilterFieldInfo>& filterFields();

} // namespace brindle
