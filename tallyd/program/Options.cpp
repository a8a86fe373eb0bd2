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

/// The same as the configuration file's reader finds, for what has no lines.
tl::expected<void, std::string> checkSources(const std::vector<std::string>& sources) {
    std::set<std::string> named;
    for (const std::string& source : sources) {
        if (const auto plan = parseSourceSpec(source); !plan)
            return tl::unexpected(plan.error());
        // Each would store every record once more, and they would share a place.
        if (!named.insert(source).second)
            return tl::unexpected(fmt::format("source \"{}\": is named twice", source));
    }
    return {};
}

} // namespace

tl::expected<ServeOptions, std::string> serveOptions(const ServeRequest& request) {
    const Configuration& given = request.given;
    Configuration file;
    if (!request.configPath.empty()) {
        auto read = readConfiguration(request.configPath);
        if (!read)
            return tl::unexpected(read.error());
        file = std::move(*read);
    }
    const auto store = given.store ? given.store : file.store;
    if (!store)
        return tl::unexpected(
            request.configPath.empty()
                ? std::string("--store is required, here or in the configuration file")
                : fmt::format("{}: \"store\" is missing", request.configPath));
    ServeOptions options;
    options.store = *store;
    options.socket = given.socket  ? *given.socket
                     : file.socket ? *file.socket
                                   : platform::daemonSocketPath();
    options.sources =
        (given.sources ? given.sources : file.sources).value_or(std::vector<std::string>());
    if (const auto sound = checkSources(options.sources); !sound)
        return tl::unexpected(sound.error());
    options.actions = file.actions;
    options.limits = file.limits;
    options.clients = file.clients;
    options.request = request;
    return options;
}

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

    ServeRequest request;
    Configuration& given = request.given;
    bool isCheck = false;
    auto* serveCommand = app.add_subcommand("serve", "Collect records and answer requests");
    serveCommand->add_option("--store", given.store, "The file that holds the records")
        ->type_name("FILE");
    serveCommand->add_option("--socket", given.socket, "Where requests are answered")
        ->type_name("PATH");
    serveCommand->add_option("--source", given.sources, "Where records come from; may be repeated")
        ->type_name("SPEC")
        ->allow_extra_args(false);
    auto* config = serveCommand->add_option("--config", request.configPath, "Options in a file")
                       ->type_name("FILE");
    serveCommand
        ->add_option("--user", request.user,
                     "Whom to become when started as root; tallyd, where there is that user")
        ->type_name("NAME");
    serveCommand
        ->add_flag("--check-config", isCheck,
                   "Only say whether that file is right, and what is not")
        ->needs(config);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        std::ostringstream out;
        std::ostringstream complaint;
        const bool isError = app.exit(error, out, complaint) != 0;
        return Message{isError ? complaint.str() : out.str(), isError};
    }
    if (*importCommand)
        return import;
    auto options = serveOptions(request);
    if (!options)
        return Message{options.error() + "\n", true};
    if (isCheck)
        return Message{fmt::format("{}: no mistakes, sources: {}\n", request.configPath,
                                   options->sources.size())};
    return *options;
}

} // namespace brindle::tallyd
