// SPDX-License-Identifier: BSD-2-Clause
//
// tallyd: collects the packet filter's log, stores it, and answers requests about it.
#include "tallyd/program/Import.h"
#include "tallyd/program/Logging.h"
#include "tallyd/program/Options.h"
#include "tallyd/program/Serve.h"
#include "tallyd/sources/InputFile.h"
#include "tallyd/store/Store.h"

#include <cstdio>
#include <exception>
#include <variant>

#include <fmt/format.h>
#include <spdlog/spdlog.h>

namespace brindle::tallyd {
namespace {

int run(const Message& message, LogLines lines) {
    if (message.isError)
        fmt::print(stderr, "{}{}", errorPrefix(lines), message.text);
    else
        fmt::print("{}", message.text);
    return message.isError ? 2 : 0;
}

int run(const ImportOptions& options, LogLines) {
    const auto store = Store::open(options.store);
    auto writer = store ? store->writer(StoreUse::import) : tl::unexpected(store.error());
    if (!writer) {
        spdlog::error("{}", writer.error());
        return 1;
    }
    const ImportReport report =
        importInputs(std::move(*writer), options.inputs,
                     [](const std::string& path) { return openInput(path); });
    for (const std::string& problem : report.problems)
        spdlog::error("{}", problem);
    if (!report.storeError.empty())
        spdlog::error("{}: {}", options.store, report.storeError);
    fmt::print("{}", report.text());
    return report.exitStatus();
}

int run(const ServeOptions& options, LogLines) {
    holdSignals();
    return serve(options);
}

} // namespace
} // namespace brindle::tallyd

int main(int argc, char** argv) {
    const brindle::tallyd::LogLines lines = brindle::tallyd::setUpLogging();
    try {
        return std::visit(
            [lines](const auto& command) { return brindle::tallyd::run(command, lines); },
            brindle::tallyd::parseCommandLine(argc, argv));
    } catch (const std::exception& error) {
        spdlog::critical("{}", error.what());
        return 1;
    }
}
