// SPDX-License-Identifier: BSD-2-Clause
//
// Goes through the inputs in a folder, as a search for new ones would. Fails when there are none: a
// folder that was moved must not look like a parser without faults.
#include "tests/fuzz/Target.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: fuzz_TARGET FOLDER\n", stderr);
        return 2;
    }
    int inputs = 0;
    for (const auto& entry : std::filesystem::directory_iterator(argv[1])) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(file), {}};
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
        ++inputs;
    }
    std::printf("%d inputs\n", inputs);
    return inputs > 0 ? 0 : 1;
}
