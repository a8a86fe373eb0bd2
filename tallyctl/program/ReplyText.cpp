// SPDX-License-Identifier: BSD-2-Clause
#include "tallyctl/program/ReplyText.h"

#include "core/log/records/RecordText.h"
#include "tallyctl/program/TextForms.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <string_view>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace brindle::tallyctl {

namespace {

using Json = nlohmann::ordered_json;

std::string jsonLine(const Json& value) {
    return value.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

std::string terminalText(std::string_view text) {
    std::string out;
    appendTerminalText(out, text);
    return out;
}

std::string countTable(const std::vector<CountEntry>& entries) {
    constexpr std::string_view heading = "label";
    std::vector<std::string> labels;
    labels.reserve(entries.size());
    std::size_t width = heading.size();
    for (const CountEntry& entry : entries) {
        labels.push_back(terminalText(entry.label));
        width = std::max(width, labels.back().size());
    }
    std::string out = fmt::format("{:<{}}  {:>10}\n", heading, width, "value");
    for (std::size_t i = 0; i < entries.size(); ++i) {
        constexpr std::size_t kValueWidth = 10;
        const fmt::format_int value(entries[i].value);
        out += labels[i];
        out.append(width - labels[i].size() + 2 + kValueWidth - std::min(kValueWidth, value.size()),
                   ' ');
        out.append(value.data(), value.size());
        out += '\n';
    }
    return out;
}

std::string countCsv(const std::vector<CountEntry>& entries) {
    std::string out = "label,value,isIP,isPort\n";
    for (const CountEntry& entry : entries) {
        appendCsvText(out, entry.label);
        out += ',';
        out += fmt::format_int(entry.value).c_str();
        out += entry.isIP ? ",true" : ",false";
        out += entry.isPort ? ",true\n" : ",false\n";
    }
    return out;
}

std::string countJsonLines(const std::vector<CountEntry>& entries) {
    std::string out;
    for (const CountEntry& entry : entries)
        out += jsonLine(Json{{"label", entry.label},
                             {"value", entry.value},
                             {"isIP", entry.isIP},
                             {"isPort", entry.isPort}});
    return out;
}

std::string lostText(const std::map<std::string, std::uint64_t>& lost) {
    std::uint64_t sum = 0;
    std::string reasons;
    for (const auto& [reason, count] : lost) {
        sum += count;
        reasons +=
            fmt::format("{}{}: {}", reasons.empty() ? "" : ", ", terminalText(reason), count);
    }
    return reasons.empty() ? "0" : fmt::format("{} ({})", sum, reasons);
}

std::string statusTable(const DaemonStatus& status) {
    std::string out;
    const auto line = [&out](std::string_view name, const auto& value) {
        out += fmt::format("{:<14}{}\n", name, value);
    };
    const auto date = [](const std::optional<double>& epoch) {
        return epoch ? dateText(*epoch) : std::string("-");
    };
    line("received", status.received);
    line("stored", status.stored);
    line("lost", lostText(status.lost));
    line("rows", status.rows);
    line("store bytes", status.storeBytes);
    line("oldest", date(status.oldest));
    line("newest", date(status.newest));
    line("clients", status.clients);
    line("live clients", status.liveClients);
    line("live lost", status.liveLost);
    for (const SourceStatus& source : status.sources)
        line("source", fmt::format("{}: {}, received {}, stored {}, lost {}",
                                   terminalText(source.name), terminalText(source.state),
                                   source.received, source.stored, lostText(source.lost)));
    return out;
}

Json epochJson(const std::optional<double>& epoch) {
    return epoch ? Json(*epoch) : Json(nullptr);
}

std::string statusJson(const DaemonStatus& status) {
    Json sources = Json::array();
    for (const SourceStatus& source : status.sources)
        sources.push_back(Json{{"name", source.name},
                               {"state", source.state},
                               {"received", source.received},
                               {"stored", source.stored},
                               {"lost", Json(source.lost)}});
    return jsonLine(Json{{"received", status.received},
                         {"stored", status.stored},
                         {"lost", Json(status.lost)},
                         {"rows", status.rows},
                         {"storeBytes", status.storeBytes},
                         {"oldest", epochJson(status.oldest)},
                         {"newest", epochJson(status.newest)},
                         {"clients", status.clients},
                         {"liveClients", status.liveClients},
                         {"liveLost", status.liveLost},
                         {"sources", sources}});
}

} // namespace

std::string countText(const std::vector<CountEntry>& entries, Format format) {
    switch (format) {
    case Format::csv:
        return countCsv(entries);
    case Format::jsonl:
        return countJsonLines(entries);
    case Format::table:
        break;
    }
    return countTable(entries);
}

std::string statusText(const DaemonStatus& status, Format format) {
    return format == Format::jsonl ? statusJson(status) : statusTable(status);
}

} // namespace brindle::tallyctl
