// SPDX-License-Identifier: BSD-2-Clause
//
// One row of the logs table. It is a thin handle: the record stays in the batch it came in, shared
// with the other rows of that batch; user, service names and pictures are found through the tables;
// what a row changes or adds (a resolved name, an odd text) sits in a part that exists only then.
// Created, read and changed on the main thread; a million of them must fit.
//
//     VDXLog log(batch, 17, tables);
//     cell = log.text(LogField::addresssrcip);
#pragma once

#include "core/log/LogExtra.h"
#include "core/log/LogTables.h"
#include "core/log/records/RecordBatch.h"
#include "core/log/records/RecordDictionary.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace brindle {

/// The fields of a row that hold text, in declared order.
enum class LogField : std::uint8_t {
    date,
    uid,
    username,
    rule,
    action,
    direction,
    interface,
    srcip,
    addresssrcip,
    srcport,
    srcportname,
    dstip,
    addressdstip,
    dstport,
    dstportname,
    proto,
    label,
    count
};
/// The name under which tables bind to the field: "addresssrcip".
std::string_view fieldName(LogField field);
std::optional<LogField> fieldFromName(std::string_view name);

class VDXLog {
  public:
    /// An empty record: every text empty, epoch 0, no pictures.
    VDXLog() = default;
    /// Row `row` of a query answer. `tables` outlives the record.
    VDXLog(std::shared_ptr<const RecordBatch> batch, std::size_t row, LogTables& tables);
    /// From a record dictionary; nothing when one of its keys is missing or "epoch" is no number.
    static std::optional<VDXLog> fromDictionary(const RecordDictionary& record, LogTables& tables);

    VDXLog(VDXLog&&) noexcept = default;
    VDXLog& operator=(VDXLog&&) noexcept = default;
    VDXLog(const VDXLog&) = delete;
    VDXLog& operator=(const VDXLog&) = delete;

    std::string text(LogField field) const;
    void setText(LogField field, std::string text);
    /// Seconds since 1970, UTC.
    double epoch() const;

    Picture usericon() const;
    Picture imageActionDirection() const;
    Picture imagesrcip() const { return {}; }
    Picture imagedstip() const { return {}; }

    /// Name resolution has been started and has not timed out.
    bool hasBeenReversed() const { return extra_ && extra_->hasBeenReversed; }
    /// Starts resolving the host names of both addresses. `seconds`: until they are given up.
    /// `changed` runs each time a displayed address was replaced by a name; never after the record
    /// has gone.
    void reverse(const NameServices& services, double seconds, std::function<void()> changed);

    /// The batch and row the record stands in, for sorting and filtering in bulk: valid for every
    /// record that `hasOwnTexts` is false for. Null batch for an empty record.
    const std::shared_ptr<const RecordBatch>& batch() const { return batch_; }
    std::size_t batchRow() const { return row_; }
    /// Some text was set on this record itself and stands before the batch's.
    bool hasOwnTexts() const { return extra_ && !extra_->texts.empty(); }
    /// The text set on the record itself, if any.
    const std::string* ownText(LogField field) const;

  private:
    VDXLog(std::shared_ptr<const RecordBatch> batch, std::size_t row, LogTables& tables,
           const LogUser& user);
    LogExtra& extra();

    std::shared_ptr<const RecordBatch> batch_;
    LogTables* tables_ = nullptr;
    const LogUser* user_ = nullptr;
    std::shared_ptr<LogExtra> extra_;
    std::uint32_t row_ = 0;
};

} // namespace brindle
