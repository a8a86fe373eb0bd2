// SPDX-License-Identifier: BSD-2-Clause
//
// Imports that do not go smoothly.
#include "tests/system/Workshop.h"

#include <fstream>

namespace brindle::test {
namespace {

class Import : public Workshop {};

TEST_F(Import, ACaptureCutShortKeepsWhatIsWholeAndSaysSo) {
    const std::string file = capture("freebsd13", 100);
    std::filesystem::resize_file(file, std::filesystem::file_size(file) - 7);
    const Finished cut = import({file});
    EXPECT_EQ(cut.exitCode, 3);
    EXPECT_EQ(linesOf(cut.output).at(0).find("imported 99 records, skipped "), 0u) << cut.output;
    EXPECT_NE(cut.errors.find(file), std::string::npos) << cut.errors;
    serve();
    EXPECT_EQ(ask({"rows"}).output, "99\n");
}

TEST_F(Import, AMissingInputDoesNotKeepTheOthersOut) {
    const Finished some = import({path("absent.pcap"), capture("nflog", 50)});
    EXPECT_EQ(some.exitCode, 3);
    EXPECT_NE(some.errors.find("absent.pcap"), std::string::npos) << some.errors;
    serve();
    EXPECT_EQ(ask({"rows"}).output, "50\n");
}

TEST_F(Import, StandardInputIsReadLikeAFile) {
    const std::string file = capture("darwin", 60);
    const Finished piped = import({"-"}, file);
    ASSERT_EQ(piped.exitCode, 0) << piped.errors;
    EXPECT_EQ(linesOf(piped.output).at(0), "imported 60 records, skipped 0");
}

TEST_F(Import, AFileThatIsNoStoreOfOursStaysAsItIs) {
    const std::string input = capture("openbsd", 10);
    std::ofstream(path("notes.txt")) << "Not a store at all.\n";
    run({"sqlite3", path("foreign.sqlite"),
         "create table records(a); insert into records values(1)"});
    ASSERT_TRUE(std::filesystem::exists(path("foreign.sqlite")));
    for (const std::string name : {"notes.txt", "foreign.sqlite"}) {
        const std::string before = fileText(path(name));
        for (const auto& words : std::vector<std::vector<std::string>>{
                 {"import", "--store", path(name), input},
                 {"serve", "--store", path(name), "--socket", socket()}}) {
            std::vector<std::string> whole{kPrograms + "/tallyd"};
            whole.insert(whole.end(), words.begin(), words.end());
            const Finished refused = run(whole);
            EXPECT_NE(refused.exitCode, 0) << name << " " << words[0];
            EXPECT_EQ(linesOf(refused.errors).size(), 1u) << refused.errors;
            EXPECT_EQ(fileText(path(name)), before) << name << " " << words[0];
        }
    }
}

} // namespace
} // namespace brindle::test
