// SPDX-License-Identifier: BSD-2-Clause
//
// What the user asked tallyd to do: the command line, and for `serve` the configuration file behind
// it. Parsed once by main, before any thread.
#pragma once

#include "protocol/TallydServer.h"
#include "tallyd/sources/actions/ActionPatterns.h"
#include "tallyd/store/Intake.h"

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <tl/expected.hpp>

namespace brindle::tallyd {

struct ImportOptions {
    std::string store;
    std::vector<std::string> inputs; ///< files; "-" is standard input
};

/// The file of `serve --config`, or what the command line says in its place; what is not named in
/// it stays absent.
struct Configuration {
    std::optional<std::string> store;
    std::optional<std::string> socket;
    std::optional<std::vector<std::string>> sources; ///< "nflog:5" …: parseSourceSpec takes each
    std::vector<ActionPattern> actions; ///< what a log prefix means, before what is built in
    IntakeLimits limits;
    ServerLimits clients;
};

/// Errors are one line naming the file, and the line where there is one: the first mistake. An
/// unknown key is an error: a misspelt one would be ignored otherwise.
tl::expected<Configuration, std::string> readConfiguration(const std::string& path);

/// How the daemon was asked to run, kept to read its configuration file again.
struct ServeRequest {
    Configuration given;             ///< by the command line: goes before what the file says
    std::string configPath;          ///< empty: there is no file
    std::optional<std::string> user; ///< to become, when started as root
};

struct ServeOptions {
    std::string store;
    std::string socket;
    std::vector<std::string> sources;
    std::vector<ActionPattern> actions; ///< see Configuration
    IntakeLimits limits;
    ServerLimits clients;
    ServeRequest request; ///< what the above was made from
};

/// Reads the configuration file, if any, now. Errors: see readConfiguration.
tl::expected<ServeOptions, std::string> serveOptions(const ServeRequest& request);

/// Help, the version, that a file is fine, or what was wrong: whole lines.
struct Message {
    std::string text;
    bool isError = false; ///< goes to standard error; the program ends with status 2
};

using Command = std::variant<ImportOptions, ServeOptions, Message>;

std::string programVersion();

Command parseCommandLine(int argc, const char* const* argv);

} // namespace brindle::tallyd
