// SPDX-License-Identifier: BSD-2-Clause
#include "core/log/VDXLog.h"

#include "core/log/records/RecordText.h"
#include "core/net/DecimalText.h"

#include <array>
#include <limits>

namespace brindle {
namespace {

constexpr std::array<std::string_view, static_cast<std::size_t>(LogField::count)> kFieldNames{
    "date",         "uid",     "username",     "rule",    "action",      "direction",
    "interface",    "srcip",   "addresssrcip", "srcport", "srcportname", "dstip",
    "addressdstip", "dstport", "dstportname",  "proto",   "label"};

/// A number that is written in its text exactly as we would write it; nothing for any other text.
template <typename Number>
std::optional<Number> canonicalNumber(std::string_view text) {
    const std::optional<std::int64_t> value = decimalInteger(text);
    if (!value || *value < 0 || *value > std::numeric_limits<Number>::max() ||
        std::to_string(*value) != text)
        return std::nullopt;
    return static_cast<Number>(*value);
}

} // namespace

std::string_view fieldName(LogField field) {
    return kFieldNames[static_cast<std::size_t>(field)];
}

std::optional<LogField> fieldFromName(std::string_view name) {
    for (std::size_t i = 0; i < kFieldNames.size(); ++i)
        if (kFieldNames[i] == name)
            return static_cast<LogField>(i);
    return std::nullopt;
}

VDXLog::VDXLog(std::shared_ptr<const RecordBatch> batch, std::size_t row, LogTables& tables)
    : VDXLog(batch, row, tables, tables.userForUid(batch->row(row).uid)) {}

VDXLog::VDXLog(std::shared_ptr<const RecordBatch> batch, std::size_t row, LogTables& tables,
               const LogUser& user)
    : batch_(std::move(batch)), tables_(&tables), user_(&user),
      row_(static_cast<std::uint32_t>(row)) {}

std::optional<VDXLog> VDXLog::fromDictionary(const RecordDictionary& record, LogTables& tables) {
    if (record.firstMissing())
        return std::nullopt;
    const auto text = [&](RecordKey key) { return *record.get(key); };
    const std::optional<double> epoch = epochFromText(text(RecordKey::epoch));
    if (!epoch)
        return std::nullopt;

    const auto uid = canonicalNumber<std::uint32_t>(text(RecordKey::uid));
    const auto srcport = canonicalNumber<std::uint16_t>(text(RecordKey::srcport));
    const auto dstport = canonicalNumber<std::uint16_t>(text(RecordKey::dstport));

    RecordBatchBuilder builder;
    RecordRow row;
    row.epoch = *epoch;
    row.uid = uid.value_or(row.uid);
    row.srcport = srcport.value_or(0);
    row.dstport = dstport.value_or(0);
    row.rule = builder.intern(text(RecordKey::rule));
    row.action = builder.intern(text(RecordKey::action));
    row.direction = builder.intern(text(RecordKey::direction));
    row.interface = builder.intern(text(RecordKey::interface));
    row.srcip = builder.intern(text(RecordKey::srcip));
    row.dstip = builder.intern(text(RecordKey::dstip));
    row.proto = builder.intern(text(RecordKey::proto));
    builder.add(row);

    const std::optional<std::int64_t> anyUid = decimalInteger(text(RecordKey::uid));
    VDXLog log(builder.finish(), 0, tables, anyUid ? tables.userForUid(*anyUid) : tables.noUser());
    // Whatever the fixed-size row cannot hold as it was written stays with the record itself.
    if (!uid)
        log.setText(LogField::uid, std::string(text(RecordKey::uid)));
    if (!srcport)
        log.setText(LogField::srcport, std::string(text(RecordKey::srcport)));
    if (!dstport)
        log.setText(LogField::dstport, std::string(text(RecordKey::dstport)));
    if (text(RecordKey::date) != dateText(*epoch))
        log.setText(LogField::date, std::string(text(RecordKey::date)));
    return log;
}

std::string VDXLog::text(LogField field) const {
    if (const std::string* own = ownText(field))
        return *own;
    if (!batch_)
        return {};
    const RecordRow& row = batch_->row(row_);
    switch (field) {
    case LogField::date:
        return dateText(row.epoch);
    case LogField::uid:
        return std::to_string(row.uid);
    case LogField::username:
        return user_->name;
    case LogField::rule:
        return std::string(batch_->text(row.rule));
    case LogField::action:
        return std::string(batch_->text(row.action));
    case LogField::direction:
        return std::string(batch_->text(row.direction));
    case LogField::interface:
        return std::string(batch_->text(row.interface));
    case LogField::srcip:
    case LogField::addresssrcip:
        return std::string(batch_->text(row.srcip));
    case LogField::srcport:
        return std::to_string(row.srcport);
    case LogField::srcportname:
        return tables_->portNames.name(text(LogField::srcport));
    case LogField::dstip:
    case LogField::addressdstip:
        return std::string(batch_->text(row.dstip));
    case LogField::dstport:
        return std::to_string(row.dstport);
    case LogField::dstportname:
        return tables_->portNames.name(text(LogField::dstport));
    case LogField::proto:
        return std::string(batch_->text(row.proto));
    case LogField::label:
    case LogField::count:
        break;
    }
    return {};
}

void VDXLog::setText(LogField field, std::string text) {
    extra().texts[field] = std::move(text);
}

double VDXLog::epoch() const {
    return batch_ ? batch_->row(row_).epoch : 0;
}

Picture VDXLog::usericon() const {
    return user_ ? user_->icon : Picture();
}

Picture VDXLog::imageActionDirection() const {
    if (!batch_)
        return {};
    return tables_->imageActionDirection(text(LogField::action), text(LogField::direction));
}

void VDXLog::reverse(const NameServices& services, double seconds, std::function<void()> changed) {
    extra().reverse(text(LogField::srcip), text(LogField::dstip), services, seconds,
                    std::move(changed));
}

const std::string* VDXLog::ownText(LogField field) const {
    if (!extra_)
        return nullptr;
    const auto found = extra_->texts.find(field);
    return found == extra_->texts.end() ? nullptr : &found->second;
}

LogExtra& VDXLog::extra() {
    if (!extra_)
        extra_ = std::make_shared<LogExtra>();
    return *extra_;
}

} // namespace brindle
