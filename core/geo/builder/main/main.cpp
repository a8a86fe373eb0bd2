// SPDX-License-Identifier: BSD-2-Clause
//
// makenations RANGES DATABASE: makes the nation database from a list of address ranges by nation,
// such as /usr/share/tor/geoip. The database is written beside its place and then moved there, so
// that a reader never sees half of it. Exit status: 0, 1 when a file cannot be read or written, 2
// for wrong usage.
#include "core/geo/builder/NationRanges.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

namespace {

int fail(const std::string& why) {
    std::fprintf(stderr, "makenations: %s\n", why.c_str());
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fputs("usage: makenations RANGES DATABASE\n", stderr);
        return 2;
    }
    const std::string source = argv[1];
    const std::string database = argv[2];

    std::ifstream in(source);
    if (!in)
        return fail(source + " cannot be read");
    const auto nations = brindle::readNationRanges(in);
    if (!nations)
        return fail(source + ": " + nations.error());
    if (in.bad() || nations->ranges.empty())
        return fail(source + ": no ranges could be read");

    const std::string unfinished = database + ".new";
    std::ofstream out(unfinished);
    const std::size_t blocks = brindle::writeNationBlocks(*nations, out);
    out.close();
    std::error_code error;
    if (out)
        std::filesystem::rename(unfinished, database, error);
    if (!out || error) {
        std::error_code ignored;
        std::filesystem::remove(unfinished, ignored);
        return fail(database + " cannot be written");
    }

    std::printf("%zu blocks of %zu nations in %s\n", blocks, nations->ranges.size(),
                database.c_str());
    for (const auto& [code, lines] : nations->leftOut)
        std::printf("left out: %zu ranges of the code \"%s\"\n", lines, code.c_str());
    return 0;
}
