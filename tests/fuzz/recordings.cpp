// SPDX-License-Identifier: BSD-2-Clause
//
// Whole files whose kind is found by content: captures of both formats and text logs.
#include "tallyd/sources/InputFile.h"
#include "tests/fuzz/Target.h"

#include <vector>

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace brindle;
    const test::MemoryFile file(data, size);
    const auto input = tallyd::openInput(file.path());
    if (!input) {
        test::require(!input.error().empty());
        return 0;
    }
    std::vector<PacketRecord> records;
    while ((*input)->read(records, 64))
        records.clear();
    for (const auto& [reason, count] : (*input)->skipped())
        test::require(!reason.empty() && count > 0);
    return 0;
}
