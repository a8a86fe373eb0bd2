// SPDX-License-Identifier: BSD-2-Clause
#include "vardex/list/BlackList.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <map>
#include <optional>
#include <set>

namespace brindle::vardex {
namespace {

constexpr const char* kFirstLine =
    "# Vardex's black list: an address or block, when it was added, \"insisted\" where it is.\n";
constexpr const char* kTimeForm = "%Y-%m-%dT%H:%M:%SZ";
constexpr std::string_view kInsisted = "insisted";
constexpr std::string_view kWhiteSpace = " \t\r\v\f";

std::string timeText(std::int64_t epoch) {
    const auto seconds = static_cast<std::time_t>(epoch);
    std::tm parts{};
    std::array<char, 64> text{};
    gmtime_r(&seconds, &parts);
    return {text.data(), std::strftime(text.data(), text.size(), kTimeForm, &parts)};
}

std::optional<std::int64_t> timeOf(const std::string& text) {
    std::tm parts{};
    const char* const rest = strptime(text.c_str(), kTimeForm, &parts);
    if (rest == nullptr || *rest != '\0')
        return std::nullopt;
    return timegm(&parts);
}

template <typename EachLine>
void forEachLine(std::string_view text, EachLine eachLine) {
    while (!text.empty()) {
        const auto end = std::min(text.find('\n'), text.size());
        eachLine(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

/// Takes the first word off the line; empty when there is none left.
std::string_view takeWord(std::string_view& line) {
    line.remove_prefix(std::min(line.find_first_not_of(kWhiteSpace), line.size()));
    const std::string_view word = line.substr(0, line.find_first_of(kWhiteSpace));
    line.remove_prefix(word.size());
    return word;
}

std::optional<BlackListEntry> entryOf(std::string_view line) {
    const auto block = AddressBlock::parse(takeWord(line));
    const auto added = timeOf(std::string(takeWord(line)));
    const std::string_view insisted = takeWord(line);
    if (!block || !added || (!insisted.empty() && insisted != kInsisted) || !takeWord(line).empty())
        return std::nullopt;
    return BlackListEntry{*block, *added,
                          insisted.empty() ? Insistence::none : Insistence::insisted};
}

} // namespace

std::size_t addBlocks(BlackList& list, const std::vector<AddressBlock>& blocks, std::int64_t now,
                      Insistence insistence) {
    std::map<AddressBlock, std::size_t> places;
    for (std::size_t i = 0; i < list.size(); ++i)
        places.emplace(list[i].block, i);
    std::size_t added = 0;
    for (const AddressBlock& block : blocks) {
        const auto [known, isNew] = places.try_emplace(block, list.size());
        if (!isNew) {
            if (insistence == Insistence::insisted && known->second < list.size())
                list[known->second].insistence = insistence;
        } else if (list.size() < kMaximumEntries) {
            list.push_back({block, now, insistence});
            ++added;
        }
    }
    return added;
}

void removeBlocks(BlackList& list, const std::vector<AddressBlock>& blocks) {
    const std::set<AddressBlock> gone(blocks.begin(), blocks.end());
    std::erase_if(list, [&](const BlackListEntry& entry) { return gone.contains(entry.block); });
}

ReadBlocks blocksOfText(std::string_view text) {
    ReadBlocks read;
    forEachLine(text, [&](std::string_view line) {
        std::string_view rest = line.substr(0, line.find('#'));
        const std::string_view word = takeWord(rest);
        if (word.empty())
            return;
        if (const auto block = AddressBlock::parse(word))
            read.blocks.push_back(*block);
        else
            read.notUnderstood.emplace_back(word);
    });
    return read;
}

ReadBlocks blocksOfTexts(const std::vector<std::string>& texts) {
    ReadBlocks read;
    for (const std::string& text : texts) {
        if (const auto block = AddressBlock::parse(text))
            read.blocks.push_back(*block);
        else
            read.notUnderstood.push_back(text);
    }
    return read;
}

std::string exportText(const BlackList& list) {
    std::string text;
    for (const BlackListEntry& entry : list)
        text += entry.block.text() + '\n';
    return text;
}

std::string fileText(const BlackList& list) {
    std::string text = kFirstLine;
    for (const BlackListEntry& entry : list) {
        text += entry.block.text() + ' ' + timeText(entry.added);
        if (entry.insistence == Insistence::insisted)
            text.append(" ").append(kInsisted);
        text += '\n';
    }
    return text;
}

ReadList readFileText(std::string_view text) {
    ReadList read;
    std::set<AddressBlock> seen;
    forEachLine(text, [&](std::string_view line) {
        if (line.empty() || line[0] == '#')
            return;
        const auto entry = entryOf(line);
        if (!entry || read.list.size() == kMaximumEntries)
            ++read.unreadableLines;
        else if (seen.insert(entry->block).second)
            read.list.push_back(*entry);
    });
    return read;
}

std::string applyText(const BlackList& list) {
    std::string text;
    for (const BlackListEntry& entry : list) {
        if (entry.insistence == Insistence::insisted)
            text += "force ";
        text += entry.block.text() + '\n';
    }
    return text;
}

} // namespace brindle::vardex
