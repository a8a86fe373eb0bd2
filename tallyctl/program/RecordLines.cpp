// SPDX-License-Identifier: BSD-2-Clause
#include "tallyctl/program/RecordLines.h"

#include "core/log/records/RecordText.h"
#include "tallyctl/program/TextForms.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <utility>

namespace brindle::tallyctl {

namespace {

constexpr std::size_t slot(RecordKey key) {
    return static_cast<std::size_t>(key);
}

/// The table's columns and their narrowest widths. The rule comes last: it may be long, and in any
/// script. The epoch is left to the forms that programs read.
constexpr std::pair<RecordKey, std::size_t> kColumns[]{
    {RecordKey::date, 19},     {RecordKey::action, 6}, {RecordKey::direction, 9},
    {RecordKey::interface, 9}, {RecordKey::uid, 10},   {RecordKey::srcip, 15},
    {RecordKey::srcport, 7},   {RecordKey::dstip, 15}, {RecordKey::dstport, 7},
    {RecordKey::proto, 9},     {RecordKey::rule, 0},
};

/// No date belongs to it: the first record makes its own.
constexpr std::int64_t kNoSecond = std::numeric_limits<std::int64_t>::min();

} // namespace

RecordLines::RecordLines(Format format) : format_(format), dateSecond_(kNoSecond) {
    for (std::size_t i = 0; i < kKeys; ++i) {
        appendJsonText(jsonKeys_[i], keyName(static_cast<RecordKey>(i)));
        jsonKeys_[i] += ':';
    }
    for (const auto& [key, width] : kColumns)
        widths_[slot(key)] = width;
}

std::string RecordLines::heading() {
    std::string out;
    if (format_ == Format::jsonl)
        return out;
    Fields names;
    for (std::size_t i = 0; i < kKeys; ++i)
        names[i] = keyName(static_cast<RecordKey>(i));
    appendLine(names, out);
    return out;
}

void RecordLines::append(const RecordBatch& batch, std::string& out) {
    texts_.resize(batch.textCount());
    for (std::size_t i = 0; i < texts_.size(); ++i)
        texts_[i] = inForm(batch.text(static_cast<TextIndex>(i)));
    for (const RecordRow& row : batch.rows()) {
        Fields fields;
        fields[slot(RecordKey::date)] = dateInForm(row.epoch);
        fields[slot(RecordKey::epoch)] = epochInForm(row.epoch);
        fields[slot(RecordKey::uid)] = number(slot(RecordKey::uid), row.uid);
        fields[slot(RecordKey::rule)] = texts_[row.rule];
        fields[slot(RecordKey::action)] = texts_[row.action];
        fields[slot(RecordKey::direction)] = texts_[row.direction];
        fields[slot(RecordKey::interface)] = texts_[row.interface];
        fields[slot(RecordKey::srcip)] = texts_[row.srcip];
        fields[slot(RecordKey::srcport)] = number(slot(RecordKey::srcport), row.srcport);
        fields[slot(RecordKey::dstip)] = texts_[row.dstip];
        fields[slot(RecordKey::dstport)] = number(slot(RecordKey::dstport), row.dstport);
        fields[slot(RecordKey::proto)] = texts_[row.proto];
        appendLine(fields, out);
    }
}

void RecordLines::append(const RecordDictionary& record, std::string& out) {
    Fields fields{};
    for (std::size_t i = 0; i < kKeys; ++i) {
        if (const auto text = record.get(static_cast<RecordKey>(i))) {
            scratch_[i] = inForm(*text);
            fields[i] = scratch_[i];
        }
    }
    appendLine(fields, out);
}

void RecordLines::appendLine(const Fields& fields, std::string& out) {
    switch (format_) {
    case Format::jsonl:
        appendJsonLine(fields, out);
        break;
    case Format::csv:
        for (std::size_t i = 0; i < kKeys; ++i) {
            if (i > 0)
                out += ',';
            out += fields[i];
        }
        break;
    case Format::table:
        appendTableLine(fields, out);
        break;
    }
    out += '\n';
}

void RecordLines::appendJsonLine(const Fields& fields, std::string& out) const {
    bool first = true;
    for (std::size_t i = 0; i < kKeys; ++i) {
        if (!fields[i].data())
            continue;
        out += first ? '{' : ',';
        out += jsonKeys_[i];
        out += fields[i];
        first = false;
    }
    out += first ? "{}" : "}";
}

void RecordLines::appendTableLine(const Fields& fields, std::string& out) {
    for (const auto& [key, narrowest] : kColumns) {
        const std::string_view text = fields[slot(key)];
        out += text;
        if (narrowest == 0)
            continue;
        // A column stays as wide as its widest text so far: later lines stand under it.
        std::size_t& width = widths_[slot(key)];
        width = std::max(width, text.size());
        out.append(width - text.size() + 1, ' ');
    }
}

std::string RecordLines::inForm(std::string_view text) const {
    std::string out;
    switch (format_) {
    case Format::jsonl:
        appendJsonText(out, text);
        break;
    case Format::csv:
        appendCsvText(out, text);
        break;
    case Format::table:
        appendTerminalText(out, text);
        break;
    }
    return out;
}

std::string_view RecordLines::dateInForm(double epoch) {
    // Neighbours share their second more often than not, and a calendar date is dear.
    const double second = std::floor(epoch);
    const bool countable = std::fabs(second) < 1e15;
    if (!countable || static_cast<std::int64_t>(second) != dateSecond_) {
        date_ = inForm(dateText(epoch));
        dateSecond_ = countable ? static_cast<std::int64_t>(second) : kNoSecond;
    }
    return date_;
}

std::string_view RecordLines::epochInForm(double epoch) {
    if (format_ == Format::table)
        return {};
    std::string& text = scratch_[slot(RecordKey::epoch)];
    text = inForm(epochText(epoch));
    return text;
}

std::string_view RecordLines::number(std::size_t key, std::int64_t value) {
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    std::string& text = scratch_[key];
    text.clear();
    if (format_ == Format::jsonl)
        text += '"';
    text.append(digits, end);
    if (format_ == Format::jsonl)
        text += '"';
    return text;
}

} // namespace brindle::tallyctl
