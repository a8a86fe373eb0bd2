// SPDX-License-Identifier: BSD-2-Clause
//
// tallyd: collects the packet filter's log, stores it, and answers requests about it.
#include "tallyd/program/Import.h"
#include "tallyd/program/Options.h"
#include "tallyd/program/Serve.h"
#include "tallyd/sources/InputFile.h"
#include "tallyd/store/Store.h"

#include <cstdio>
#include <exception>
#include <variant>

#include <fmt/format.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>

namespace brindle::tallyd {
namespace {

int run(const Message& message) {
    fmt::print(message.isError ? stderr : stdout, "{}", message.text);
    return message.isError ? 2 : 0;
}

int run(const ImportOptions& options) {
    const auto store = Store::open(options.store);
    auto writer = store ? store->writer(StoreUse::import) : tl::unexpected(store.error());
    if (!writer) {
        spdlog::error("{}", writer.error());
        return 1;
    }
    const ImportReport report = importInputs(std::move(*writer), options.inputs, openInput);
    for (const std::string& problem : report.problems)
        spdlog::error("{}", problem);
    if (!report.storeError.empty())
        spdlog::error("{}: {}", options.store, report.storeError);
    fmt::print("{}", report.text());
    return report.exitStatus();
}

int run(const ServeOptions& options) {
    holdSignals();
    return serve(options);
}

} // namespace
} // namespace brindle::tallyd

int main(int argc, char** argv) {
    // Whoever collects our standard error adds the time.
    spdlog::set_default_logger(spdlog::stderr_logger_mt("tallyd"));
    spdlog::set_pattern("tallyd: %v");
    try {
        return std::visit([](const auto& command) { return brindle::tallyd::run(command); },
                          brindle::tallyd::parseCommandLine(argc, argv));
    } catch (const std::exception& error) {
        spdlog::critical("{}", error.what());
        return 1;
    }
}
