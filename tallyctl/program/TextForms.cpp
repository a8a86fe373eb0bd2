// SPDX-License-Identifier: BSD-2-Clause
#include "tallyctl/program/TextForms.h"

#include <algorithm>
#include <cstddef>

#include <nlohmann/json.hpp>

namespace brindle::tallyctl {

namespace {

bool isPlainJson(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return c >= ' ' && c < 0x7f && c != '"' && c != '\\'; });
}

bool isControl(std::string_view text, std::size_t index) {
    const auto byte = static_cast<unsigned char>(text[index]);
    if (byte < 0x20 || byte == 0x7f)
        return true;
    // U+0080 to U+009F, which some terminals obey as they do the escape character.
    const auto previous = index > 0 ? static_cast<unsigned char>(text[index - 1]) : 0u;
    return byte >= 0x80 && byte < 0xa0 && (previous == 0xc2 || previous < 0x80);
}

} // namespace

void appendJsonText(std::string& out, std::string_view text) {
    if (!isPlainJson(text)) {
        out += nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
        return;
    }
    out += '"';
    out += text;
    out += '"';
}

void appendCsvText(std::string& out, std::string_view text) {
    const auto isSpecial = [](char c) { return c == ',' || c == '"' || c == '\r' || c == '\n'; };
    if (std::ranges::none_of(text, isSpecial)) {
        out += text;
        return;
    }
    out += '"';
    for (const char c : text) {
        if (c == '"')
            out += '"';
        out += c;
    }
    out += '"';
}

void appendTerminalText(std::string& out, std::string_view text) {
    constexpr std::string_view digits = "0123456789abcdef";
    if (std::ranges::all_of(text, [](char c) { return c >= ' ' && c < 0x7f; })) {
        out += text;
        return;
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (!isControl(text, i)) {
            out += text[i];
            continue;
        }
        const auto byte = static_cast<unsigned char>(text[i]);
        out += "\\x";
        out += digits[byte >> 4];
        out += digits[byte & 15];
    }
}

} // namespace brindle::tallyctl
