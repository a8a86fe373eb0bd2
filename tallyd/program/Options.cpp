// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/program/Options.h"

#include "platform/connection/UnixSocket.h"
#include "tallyd/sources/SourceSpec.h"

#include <set>
#include <sstream>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace brindle::tallyd {

namespace {

/// What the command line says goes before what the file says.
tl::expected<ServeOptions, std::string> serveOptions(const Configuration& given,
                                                     const std::string& configPath) {
    Configuration file;
    if (!configPath.empty()) {
        auto read = readConfiguration(configPath);
        if (!read)
            return tl::unexpected(read.error());
        file = std::move(*read);
    }
    const auto store = given.store ? given.store : file.store;
    if (!store)
        return tl::unexpected(
            std::string("--store is required, here or in the configuration file"));
    ServeOptions options;
    options.store = *store;
    options.socket = given.socket  ? *given.socket
                     : file.socket ? *file.socket
                                   : platform::daemonSocketPath();
    options.sources =
        (given.sources ? given.sources : file.sources).value_or(std::vector<std::string>());
    std::set<std::string> named;
    for (const std::string& source : options.sources) {
        if (const auto plan = parseSourceSpec(source); !plan)
            return tl::unexpected(plan.error());
        // Each would store every record once more, and they would share a place.
        if (!named.insert(source).second)
            return tl::unexpected(fmt::format("source \"{}\": is named twice", source));
    }
    options.limits = file.limits;
    return options;
}

} // namespace

std::string programVersion() {
    return BRINDLE_VERSION;
}

Command parseCommandLine(int argc, const char* const* argv) {
    CLI::App app("Collects, stores and serves the packet filter's log.", "tallyd");
    app.set_version_flag("--version", programVersion());
    app.require_subcommand(1);

    ImportOptions import;
    auto* importCommand = app.add_subcommand("import", "Store the records of captures and logs");
    importCommand->add_option("--store", import.store, "The file that holds the records")
        ->type_name("FILE")
        ->required();
    importCommand
        ->add_option("inputs", import.inputs, "Captures and text logs; - is standard input")
        ->type_name("INPUT")
        ->required();

    Configuration given;
    std::string configPath;
    auto* serveCommand = app.add_subcommand("serve", "Collect records and answer requests");
    serveCommand->add_option("--store", given.store, "The file that holds the records")
        ->type_name("FILE");
    serveCommand->add_option("--socket", given.socket, "Where requests are answered")
        ->type_name("PATH");
    serveCommand->add_option("--source", given.sources, "Where records come from; may be repeated")
        ->type_name("SPEC")
        ->allow_extra_args(false);
    serveCommand->add_option("--config", configPath, "Options in a file")->type_name("FILE");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        std::ostringstream out;
        std::ostringstream complaint;
        const bool isError = app.exit(error, out, complaint) != 0;
        return Message{isError ? "tallyd: " + complaint.str() : out.str(), isError};
    }
    if (*importCommand)
        return import;
    auto options = serveOptions(given, configPath);
    if (!options)
        return Message{fmt::format("tallyd: {}\n", options.error()), true};
    return *options;
}

} // namespace brindle::tallyd
