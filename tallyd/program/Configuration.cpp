// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/program/Options.h"

#include <limits>
#include <string_view>
#include <type_traits>

#include <fmt/format.h>
#include <toml.hpp>

namespace brindle::tallyd {

namespace {

/// Thrown and caught within this file: one line with the place.
struct Mistake {
    std::size_t line = 0;
    std::string text;
};

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

std::int64_t positive(const toml::value& value, std::string_view key) {
    const auto number = as<std::int64_t>(value, key);
    if (number < 1 || number > std::numeric_limits<std::int32_t>::max())
        throw Mistake{value.location().line(), fmt::format("\"{}\" must be positive", key)};
    return number;
}

void readLimits(const toml::value& value, IntakeLimits& limits) {
    if (!value.is_table())
        throw Mistake{value.location().line(), "\"limits\" must be a table"};
    for (const auto& [key, limit] : value.as_table()) {
        if (key == "queue_records")
            limits.queueRecords = static_cast<std::size_t>(positive(limit, key));
        else if (key == "batch_records")
            limits.batchRecords = static_cast<std::size_t>(positive(limit, key));
        else if (key == "batch_milliseconds")
            limits.batchAge = std::chrono::milliseconds(positive(limit, key));
        else
            throw Mistake{limit.location().line(), fmt::format("unknown key \"limits.{}\"", key)};
    }
}

Configuration fromTable(const toml::value& file) {
    Configuration configuration;
    for (const auto& [key, value] : file.as_table()) {
        if (key == "store")
            configuration.store = as<std::string>(value, key);
        else if (key == "socket")
            configuration.socket = as<std::string>(value, key);
        else if (key == "sources")
            configuration.sources = as<std::vector<std::string>>(value, key);
        else if (key == "limits")
            readLimits(value, configuration.limits);
        else
            throw Mistake{value.location().line(), fmt::format("unknown key \"{}\"", key)};
    }
    return configuration;
}

} // namespace

tl::expected<Configuration, std::string> readConfiguration(const std::string& path) {
    try {
        return fromTable(toml::parse(path));
    } catch (const Mistake& mistake) {
        return tl::unexpected(fmt::format("{}:{}: {}", path, mistake.line, mistake.text));
    } catch (const toml::exception& error) {
        return tl::unexpected(fmt::format("{}:{}: not understood", path, error.location().line()));
    } catch (const std::exception&) {
        return tl::unexpected(fmt::format("{}: cannot be read", path));
    }
}

} // namespace brindle::tallyd
