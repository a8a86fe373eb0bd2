// SPDX-License-Identifier: BSD-2-Clause
//
// How a text of a record is written in each output form. Rule texts and interface names come from
// outside and can hold any byte: what is written is valid JSON, one CSV field, or harmless on a
// terminal.
#pragma once

#include <string>
#include <string_view>

namespace brindle::tallyctl {

/// A JSON string with its quotes; bytes that are no UTF-8 become U+FFFD.
void appendJsonText(std::string& out, std::string_view text);
/// A CSV field after RFC 4180: quoted when it holds a comma, a quote or a line break.
void appendCsvText(std::string& out, std::string_view text);
/// Control characters become \xNN, so that no text moves a terminal's cursor.
void appendTerminalText(std::string& out, std::string_view text);

} // namespace brindle::tallyctl
