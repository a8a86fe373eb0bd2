// SPDX-License-Identifier: BSD-2-Clause
//
// The daemon's configuration file.
#include "tallyd/program/Options.h"
#include "tests/fuzz/Target.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace brindle;
    const test::MemoryFile file(data, size);
    const auto configuration = tallyd::readConfiguration(file.path());
    // A mistake is one line.
    if (!configuration)
        test::require(!configuration.error().empty() &&
                      configuration.error().find('\n') == std::string::npos);
    return 0;
}
