// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/program/Options.h"

#include "tallyd/program/ConfigurationText.h"
#include "tallyd/sources/SourceSpec.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <fstream>
#include <limits>
#include <optional>
#include <set>
#include <sstream>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <toml.hpp>

namespace brindle::tallyd {

namespace {

/// Thrown and caught within this file: one line with the place.
struct Mistake {
    std::size_t line = 0;
    std::string text;
};

/// The number of the first line with bytes that are no UTF-8.
std::optional<std::size_t> firstLineNotUtf8(std::string_view text) {
    std::size_t line = 1;
    for (std::size_t i = 0; i < text.size();) {
        const auto lead = static_cast<unsigned char>(text[i]);
        const std::size_t length = lead < 0x80                   ? 1
                                   : lead >= 0xC2 && lead < 0xE0 ? 2
                                   : lead >= 0xE0 && lead < 0xF0 ? 3
                                   : lead >= 0xF0 && lead < 0xF5 ? 4
                                                                 : 0;
        if (length == 0 || length > text.size() - i)
            return line;
        std::uint32_t character = length == 1 ? lead : lead & (0xFF >> (length + 1));
        for (std::size_t next = 1; next < length; ++next) {
            const auto byte = static_cast<unsigned char>(text[i + next]);
            if ((byte & 0xC0) != 0x80)
                return line;
            character = character << 6 | (byte & 0x3F);
        }
        // Forms that are longer than needed, halves of pairs, beyond the last character.
        constexpr std::array<std::uint32_t, 5> kSmallest{0, 0, 0x80, 0x800, 0x10000};
        if (character < kSmallest[length] || (character >= 0xD800 && character < 0xE000) ||
            character > 0x10FFFF)
            return line;
        line += lead == '\n' ? 1 : 0;
        i += length;
    }
    return std::nullopt;
}

/// A text of the file may hold line feeds, written as escapes.
std::string oneLine(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < 0x20 || c == 0x7F; }, ' ');
    return text;
}

template <typename Type>
Type as(const toml::value& value, std::string_view key) {
    constexpr const char* kind = std::is_same_v<Type, std::string>    ? "a text"
                                 : std::is_same_v<Type, std::int64_t> ? "a whole number"
                                                                      : "a list of texts";
    try {
        return toml::get<Type>(value);
    } catch (const std::exception&) {
        throw Mistake{value.location().line(), fmt::format("\"{}\" must be {}", key, kind)};
    }
}

struct Range {
    std::int64_t least = 1;
    std::int64_t most = std::numeric_limits<std::int32_t>::max();
};

std::int64_t numberIn(const Range& range, const toml::value& value, std::string_view key) {
    const auto number = as<std::int64_t>(value, key);
    const auto mistake = [&](const std::string& text) {
        return Mistake{value.location().line(), fmt::format("\"{}\" must be {}", key, text)};
    };
    if (number < range.least)
        throw mistake(range.least == 1 ? "positive" : fmt::format("{} or more", range.least));
    if (number > range.most)
        throw mistake(fmt::format("{} or less", range.most));
    return number;
}

using Entries = std::vector<std::pair<std::string_view, const toml::value*>>;

/// In the order of the file, so that the mistake which is told is the first.
Entries entriesOf(const toml::value& table) {
    Entries entries;
    for (const auto& [key, value] : table.as_table())
        entries.emplace_back(key, &value);
    std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) {
        const auto place = [](const toml::value& value) {
            const auto location = value.location();
            return std::pair(location.line(), location.column());
        };
        return place(*a.second) < place(*b.second);
    });
    return entries;
}

std::vector<std::string> readSources(const toml::value& value) {
    const auto sources = as<std::vector<std::string>>(value, "sources");
    std::set<std::string> named;
    for (std::size_t i = 0; i < sources.size(); ++i) {
        const auto line = value.as_array()[i].location().line();
        if (const auto plan = parseSourceSpec(sources[i]); !plan)
            throw Mistake{line, plan.error()};
        if (!named.insert(sources[i]).second)
            throw Mistake{line, fmt::format("source \"{}\": is named twice", sources[i])};
    }
    return sources;
}

/// Appends the list's patterns. Those of both lists share one `named`: a text in both would mean
/// what its first list says, which is hardly what was wanted.
void readPatterns(const toml::value& value, const std::string& key, Action action,
                  std::set<std::string>& named, std::vector<ActionPattern>& patterns) {
    // The kernel's own bound of a prefix.
    constexpr std::size_t kLongest = 127;
    const auto texts = as<std::vector<std::string>>(value, "actions." + key);
    for (std::size_t i = 0; i < texts.size(); ++i) {
        const auto line = value.as_array()[i].location().line();
        // The prefixes of rules end in one, which the record's text has no more.
        const auto first = texts[i].find_first_not_of(' ');
        if (first == std::string::npos)
            throw Mistake{line, fmt::format("\"actions.{}\": a pattern is empty", key)};
        std::string text = texts[i].substr(first, texts[i].find_last_not_of(' ') - first + 1);
        if (text.size() > kLongest)
            throw Mistake{line,
                          fmt::format("\"actions.{}\": a pattern is longer than {} bytes, and "
                                      "so than any prefix",
                                      key, kLongest)};
        std::string lowered = text;
        std::transform(lowered.begin(), lowered.end(), lowered.begin(),
                       [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
        if (!named.insert(std::move(lowered)).second)
            throw Mistake{line, fmt::format("pattern \"{}\": is named twice", text)};
        patterns.push_back({std::move(text), action});
    }
}

std::vector<ActionPattern> readActions(const toml::value& value) {
    if (!value.is_table())
        throw Mistake{value.location().line(), "\"actions\" must be a table"};
    std::vector<ActionPattern> patterns;
    std::set<std::string> named;
    // In the order of the file: the list that stands first is looked through first.
    for (const auto& [key, list] : entriesOf(value)) {
        if (key != "blocked" && key != "passed")
            throw Mistake{list->location().line(), fmt::format("unknown key \"actions.{}\"", key)};
        readPatterns(*list, std::string(key), key == "blocked" ? Action::block : Action::pass,
                     named, patterns);
    }
    return patterns;
}

/// The keys of [limits] that are about clients. The least lets one viewer and a terminal work, the
/// most is what a daemon still carries.
struct ClientLimit {
    std::string_view key;
    std::size_t ServerLimits::*field;
    Range range;
    std::size_t unit = 1;
};
constexpr ClientLimit kClientLimits[] = {
    {"connections", &ServerLimits::connections, {8, 4096}},
    {"connections_per_user", &ServerLimits::connectionsPerUser, {4, 4096}},
    {"requests_per_connection", &ServerLimits::requestsPerConnection, {16, 4096}},
    {"queries_per_connection", &ServerLimits::queriesPerConnection, {4, 256}},
    {"message_kilobytes", &ServerLimits::messageBytes, {64, 65536}, 1024},
    {"live_queue_records", &ServerLimits::liveQueueRecords, {1024, 16'777'216}},
    {"workers", &ServerLimits::workers, {1, 64}},
};

const ClientLimit* clientLimit(std::string_view key) {
    for (const ClientLimit& limit : kClientLimits)
        if (limit.key == key)
            return &limit;
    return nullptr;
}

void readLimits(const toml::value& value, IntakeLimits& limits, ServerLimits& clients) {
    // A batch that waits longer looks to the watchdog as if nothing went on.
    constexpr Range kBatchMilliseconds{.most = 10'000};
    if (!value.is_table())
        throw Mistake{value.location().line(), "\"limits\" must be a table"};
    for (const auto& [key, entry] : entriesOf(value)) {
        const toml::value& limit = *entry;
        if (key == "queue_records")
            limits.queueRecords = static_cast<std::size_t>(numberIn({}, limit, key));
        else if (key == "batch_records")
            limits.batchRecords = static_cast<std::size_t>(numberIn({}, limit, key));
        else if (key == "batch_milliseconds")
            limits.batchAge = std::chrono::milliseconds(numberIn(kBatchMilliseconds, limit, key));
        else if (const ClientLimit* const known = clientLimit(key))
            clients.*known->field =
                static_cast<std::size_t>(numberIn(known->range, limit, key)) * known->unit;
        else
            throw Mistake{limit.location().line(), fmt::format("unknown key \"limits.{}\"", key)};
    }
}

void readRetention(const toml::value& value, Retention& retention) {
    // With less there is little left beside the write-ahead log.
    constexpr Range kMegabytes{.least = 64};
    if (!value.is_table())
        throw Mistake{value.location().line(), "\"retention\" must be a table"};
    for (const auto& [key, entry] : entriesOf(value)) {
        const toml::value& limit = *entry;
        if (key == "days") {
            retention.age = std::chrono::hours(24) * numberIn({}, limit, key);
        } else if (key == "megabytes") {
            retention.bytes =
                static_cast<std::uint64_t>(numberIn(kMegabytes, limit, key)) * 1'000'000;
        } else {
            throw Mistake{limit.location().line(),
                          fmt::format("unknown key \"retention.{}\"", key)};
        }
    }
}

Configuration fromTable(const toml::value& file) {
    Configuration configuration;
    for (const auto& [key, entry] : entriesOf(file)) {
        const toml::value& value = *entry;
        if (key == "store")
            configuration.store = as<std::string>(value, key);
        else if (key == "socket")
            configuration.socket = as<std::string>(value, key);
        else if (key == "sources")
            configuration.sources = readSources(value);
        else if (key == "actions")
            configuration.actions = readActions(value);
        else if (key == "limits")
            readLimits(value, configuration.limits, configuration.clients);
        else if (key == "retention")
            readRetention(value, configuration.limits.retention);
        else
            throw Mistake{value.location().line(), fmt::format("unknown key \"{}\"", key)};
    }
    return configuration;
}

} // namespace

tl::expected<Configuration, std::string> readConfiguration(const std::string& path) {
    try {
        std::ifstream file(path, std::ios::binary);
        std::stringstream text;
        text << file.rdbuf();
        if (!file)
            return tl::unexpected(fmt::format("{}: cannot be read", path));
        // The parser tells where such a text is wrong from places outside of it.
        if (const auto line = firstLineNotUtf8(text.view()))
            throw Mistake{*line, "this is not UTF-8 text"};
        if (const auto line = firstLineTooDeep(text.view()))
            throw Mistake{*line, "this is nested too deeply"};
        return fromTable(toml::parse(text, path));
    } catch (const Mistake& mistake) {
        return tl::unexpected(fmt::format("{}:{}: {}", path, mistake.line, oneLine(mistake.text)));
    } catch (const toml::exception& error) {
        return tl::unexpected(fmt::format("{}:{}: not understood", path, error.location().line()));
    } catch (const std::exception&) {
        return tl::unexpected(fmt::format("{}: cannot be read", path));
    }
}

} // namespace brindle::tallyd
