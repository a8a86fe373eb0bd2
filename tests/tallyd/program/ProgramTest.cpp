// SPDX-License-Identifier: BSD-2-Clause
//
// The program as a whole, run as a user runs it.
#include "platform/connection/UnixSocket.h"
#include "tests/tallyd/program/StartedProgram.h"

#include <gmock/gmock.h>

namespace brindle::tallyd {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class ProgramTest : public StoreTest {
  protected:
    Program start(std::vector<std::string> arguments) {
        return Program(std::move(arguments), folder.file("complaints"));
    }
    std::string makeLog(const std::string& name) {
        const std::string file = folder.file(name);
        std::ofstream log(file);
        for (int i = 0; i < 100; ++i)
            log << "2023-11-14T22:13:20.000000+00:00 fw kernel: [DROP] IN=eth0 OUT= "
                << "MAC=00:00:00:00:00:00 SRC=192.0.2." << i
                << " DST=198.51.100.7 LEN=60 TOS=0x00 PREC=0x00 TTL=64 ID=1 PROTO=TCP SPT=40000 "
                << "DPT=443 WINDOW=64240 RES=0x00 SYN URGP=0\n";
        return file;
    }
    std::string socket = folder.file("socket");
};

TEST_F(ProgramTest, ExitStatusTellsWhatWentWrong) {
    const std::string log = makeLog("log");
    std::ofstream(folder.file("foreign")) << "something else entirely";
    const struct {
        std::vector<std::string> arguments;
        int status;
        const char* complaint;
    } cases[] = {
        {{"--version"}, 0, ""},
        {{}, 2, "subcommand"},
        {{"import", "--store", path}, 2, "inputs"},
        {{"import", "--store", path, log}, 0, ""},
        {{"import", "--store", path, log, folder.file("missing")}, 3, "missing"},
        {{"import", "--store", folder.file("foreign"), log}, 1, "foreign"},
        {{"serve", "--store", folder.file("foreign"), "--socket", socket}, 1, "foreign"},
        {{"serve", "--store", path, "--socket", folder.file("no/folder/s")}, 1, "no/folder/s"},
        {{"serve", "--store", path, "--socket", socket, "--source", "odd:x"}, 2, "odd:x"},
        {{"serve", "--store", path, "--socket", socket, "--source", "replay:/no/such"},
         1,
         "/no/such: No such file"},
    };
    for (const auto& run : cases) {
        SCOPED_TRACE(testing::PrintToString(run.arguments));
        Program program = start(run.arguments);
        EXPECT_EQ(program.wait(), run.status);
        EXPECT_THAT(program.complaints(), HasSubstr(run.complaint));
        if (run.status == 0)
            EXPECT_EQ(program.complaints(), "");
        else
            EXPECT_THAT(program.complaints(), StartsWith("tallyd: "));
    }
    EXPECT_EQ(contents(folder.file("foreign")), "something else entirely");
    EXPECT_EQ(figures().rows, 200u);
}

TEST_F(ProgramTest, ImportSaysWhatItDid) {
    Program program = start({"import", "--store", path, makeLog("log")});
    EXPECT_EQ(program.line(), "imported 100 records, skipped 0\n");
    EXPECT_EQ(program.line(), "");
    EXPECT_EQ(program.wait(), 0);
}

TEST_F(ProgramTest, ServeIsReadyWhenItAnswersAndStopsCleanlyOnEitherSignal) {
    const std::string log = makeLog("log");
    for (const int signal : {SIGTERM, SIGINT}) {
        path = folder.file(fmt::format("store{}", signal));
        Program program = start(
            {"serve", "--store", path, "--socket", socket, "--source", "replay:" + log + "@max"});
        EXPECT_EQ(program.line(), "ready\n");
        EXPECT_TRUE(platform::connectUnix(socket));
        // Live records are committed while the daemon runs.
        while (figures().rows < 100)
            ::usleep(1000);
        EXPECT_EQ(program.end(signal), 0) << program.complaints();
        EXPECT_FALSE(std::filesystem::exists(socket));
        EXPECT_FALSE(std::filesystem::exists(path + "-wal"));
        EXPECT_EQ(figures().rows, 100u);
    }
}

} // namespace
} // namespace brindle::tallyd
