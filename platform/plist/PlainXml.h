// SPDX-License-Identifier: BSD-2-Clause
//
// The quick way through the XML form of a dictionary of arrays of texts. It takes only what leaves
// no question open: the elements spelt as every writer spells them and texts of visible ASCII
// characters without entities. For all else the library decides. Pure; any thread.
#pragma once

#include "platform/plist/TextArrays.h"

#include <functional>
#include <unordered_map>
#include <utility>

namespace brindle::platform {

/// Copies the next bytes, at most `room`, and says how many; none at the end.
using ByteSource = std::function<std::size_t(char* to, std::size_t room)>;

/// Takes the bytes a piece at a time: fresh memory for the whole of a large file would cost more
/// than reading it. Nothing when they are anything but the plainest form; that says nothing about
/// what they are.
std::optional<TextArrays> parsePlainXml(const ByteSource& source);
std::optional<TextArrays> parsePlainXml(std::string_view bytes);

/// Adds arrays to a list in which each key stands once.
class TextArraysMaker {
  public:
    void add(std::string_view key, TextArray texts);
    TextArrays take() && { return std::move(entries_); }

  private:
    TextArrays entries_;
    std::unordered_map<std::string, std::size_t> places_;
};

} // namespace brindle::platform
