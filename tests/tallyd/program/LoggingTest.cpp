// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/program/Logging.h"

#include "tests/tallyd/program/StartedProgram.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

namespace brindle::tallyd {
namespace {

using testing::StartsWith;

class LoggingTest : public StoreTest {
  protected:
    LoggingTest() { std::ofstream(complaints).close(); }
    ~LoggingTest() override { ::unsetenv("JOURNAL_STREAM"); }

    /// As the service manager tells which of a program's outputs are the journal's.
    void nameJournal(const std::string& file) const {
        struct stat status {};
        ASSERT_EQ(::stat(file.c_str(), &status), 0);
        ::setenv("JOURNAL_STREAM", fmt::format("{}:{}", status.st_dev, status.st_ino).c_str(), 1);
    }
    std::string said(std::vector<std::string> arguments) const {
        Program program(std::move(arguments), complaints);
        program.wait();
        return program.complaints();
    }

    const std::string complaints = folder.file("complaints");
};

TEST_F(LoggingTest, TheJournalGetsAPriorityAndOthersTheName) {
    const std::vector<std::string> wrongUse = {"serve", "--config", folder.file("missing")};
    const std::vector<std::string> failing = {"serve", "--store", folder.file("no/store"),
                                              "--socket", folder.file("socket")};
    EXPECT_THAT(said(wrongUse), StartsWith("tallyd: /"));
    EXPECT_THAT(said(failing), StartsWith("tallyd: cannot open store"));
    nameJournal(complaints);
    EXPECT_THAT(said(wrongUse), StartsWith("<3>/"));
    EXPECT_THAT(said(failing), StartsWith("<3>cannot open store"));
    // Inherited from a service by something whose standard error goes to a file.
    nameJournal("/dev/null");
    EXPECT_THAT(said(failing), StartsWith("tallyd: cannot open store"));
}

TEST_F(LoggingTest, PrioritiesFollowTheLevel) {
    std::ofstream(folder.file("c"))
        << "store = \"" << path << "\"\nsocket = \"" << folder.file("socket") << "\"\n";
    nameJournal(complaints);
    FakeManager manager(folder.file("manager"));
    Program program(stayingSelf({"serve", "--config", folder.file("c")}), complaints);
    EXPECT_EQ(manager.told(), "READY=1");
    for (const char* text : {"", "wrong\n"}) {
        std::ofstream(folder.file("c"), std::ios::app) << text;
        program.signal(SIGHUP);
        manager.told();
        manager.told();
    }
    program.end(SIGTERM);
    EXPECT_THAT(program.complaints(),
                testing::MatchesRegex("<6>reload: 0 sources added[^\n]*\n<3>reload: [^\n]*\n"));
}

} // namespace
} // namespace brindle::tallyd
