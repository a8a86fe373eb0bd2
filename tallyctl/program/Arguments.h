// SPDX-License-Identifier: BSD-2-Clause
//
// What tallyctl was asked to do, read from its command line. Plain values, checked as far as they
// can be without the daemon.
#pragma once

#include <cstdint>
#include <string>

#include <tl/expected.hpp>

namespace brindle::tallyctl {

enum class Command {
    version,
    query,
    count,
    portsOf,
    addressesOf,
    tail,
    oldest,
    newest,
    rows,
    purge,
    status
};

enum class Format { table, csv, jsonl };

/// Which list of a two-list reply is printed.
enum class BreakdownList { entries, pie };

struct Arguments {
    Command command = Command::version;
    std::string socketPath;
    Format format = Format::table; ///< for `status` jsonl is the one JSON object
    double from = 0;               ///< epochs: seconds since 1970, UTC, fractional
    double to = 0;
    double epoch = 0;
    double before = 0;
    std::string action;    ///< "pass" or "block"
    std::string direction; ///< "in" or "out"
    std::string object;    ///< "SRCIP", "DSTIP" or "DSTPORT"
    std::string address;   ///< IPv4 or IPv6 text
    std::int64_t port = 0;
    BreakdownList list = BreakdownList::entries;
    bool time = false; ///< tells how long the daemon took to answer
};

/// Why there is nothing to do: help that was asked for (standard output, exit code 0), or wrong
/// usage (standard error, exit code 2).
struct UsageEnd {
    int exitCode = 2;
    std::string text; ///< whole lines
};

tl::expected<Arguments, UsageEnd> parseArguments(int count, const char* const* values);

} // namespace brindle::tallyctl
