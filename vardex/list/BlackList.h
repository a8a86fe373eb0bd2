// SPDX-License-Identifier: BSD-2-Clause
//
// The black list as a value: addresses and blocks in the order in which they were added, with the
// changes that are made to it and the texts it is written as. Pure functions; any thread.
#pragma once

#include "vardex/guard/AddressBlock.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace brindle::vardex {

/// Whether the guard is asked about an entry, or the user has said that it is meant.
enum class Insistence { none, insisted };

struct BlackListEntry {
    AddressBlock block;
    std::int64_t added = 0; ///< seconds since 1970, UTC
    Insistence insistence = Insistence::none;

    friend bool operator==(const BlackListEntry&, const BlackListEntry&) = default;
};

using BlackList = std::vector<BlackListEntry>;

/// What the packet filter takes in a few seconds, and far more than a person collects.
inline constexpr std::size_t kMaximumEntries = 200'000;

/// Adds those blocks that are not on the list yet; those that are become insisted, if `insistence`
/// says so. Gives the number of new entries; none are added to a list of kMaximumEntries.
std::size_t addBlocks(BlackList& list, const std::vector<AddressBlock>& blocks, std::int64_t now,
                      Insistence insistence);
void removeBlocks(BlackList& list, const std::vector<AddressBlock>& blocks);

/// Blocks of a text that a person, a message or another program wrote.
struct ReadBlocks {
    std::vector<AddressBlock> blocks;
    std::vector<std::string> notUnderstood; ///< lines, without white space around them
};
/// One a line; what stands after white space or "#" counts for nothing.
ReadBlocks blocksOfText(std::string_view text);
ReadBlocks blocksOfTexts(const std::vector<std::string>& texts);

/// One a line: what `blocksOfText` reads.
std::string exportText(const BlackList& list);

/// The form of the file: a line an entry, with the time it was added and "insisted" where it is.
std::string fileText(const BlackList& list);

struct ReadList {
    BlackList list;
    std::size_t unreadableLines = 0;
};
ReadList readFileText(std::string_view text);

/// What the helper is told: one a line, insisted ones after "force ".
std::string applyText(const BlackList& list);

} // namespace brindle::vardex
