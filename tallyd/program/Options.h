// SPDX-License-Identifier: BSD-2-Clause
//
// What the user asked tallyd to do: the command line, and for `serve` the configuration file behind
// it. Parsed once by main, before any thread.
#pragma once

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

struct ServeOptions {
    std::string store;
    std::string socket;
    std::vector<std::string> sources; ///< "nflog:5" …: texts that parseSourceSpec takes
    IntakeLimits limits;
};

/// Help, the version, or what was wrong: printed as it is.
struct Message {
    std::string text;
    bool isError = false; ///< goes to standard error; the program ends with status 2
};

using Command = std::variant<ImportOptions, ServeOptions, Message>;

std::string programVersion();

Command parseCommandLine(int argc, const char* const* argv);

/// The file of `serve --config`; what is not named in it stays absent.
struct Configuration {
    std::optional<std::string> store;
    std::optional<std::string> socket;
    std::optional<std::vector<std::string>> sources;
    IntakeLimits limits;
};

/// Errors are one line naming the file, and the line where there is one. An unknown key is an
/// error: a misspelt one would be ignored otherwise.
tl::expected<Configuration, std::string> readConfiguration(const std::string& path);

} // namespace brindle::tallyd
