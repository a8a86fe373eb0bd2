// SPDX-License-Identifier: BSD-2-Clause
//
// The program as a whole, run as a user runs it.
#include "platform/connection/UnixSocket.h"
#include "tallyd/program/Options.h"
#include "tests/tallyd/store/StoreFixture.h"

#include <csignal>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace brindle::tallyd {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

/// A started tallyd; its output is read line by line, its complaints when it has ended.
class Program {
  public:
    Program(std::vector<std::string> arguments, const std::string& complaints)
        : complaints_(complaints) {
        int ends[2];
        if (::pipe(ends) != 0)
            throw std::runtime_error("no pipe");
        posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, ends[1], 1);
        ::posix_spawn_file_actions_addclose(&actions, ends[0]);
        ::posix_spawn_file_actions_addclose(&actions, ends[1]);
        ::posix_spawn_file_actions_addopen(&actions, 2, complaints.c_str(),
                                           O_WRONLY | O_CREAT | O_TRUNC, 0600);
        arguments.insert(arguments.begin(), "tallyd");
        std::vector<char*> argv;
        for (auto& argument : arguments)
            argv.push_back(argument.data());
        argv.push_back(nullptr);
        if (::posix_spawn(&pid_, TALLYD_PROGRAM, &actions, nullptr, argv.data(), environ) != 0)
            throw std::runtime_error("cannot start " TALLYD_PROGRAM);
        ::posix_spawn_file_actions_destroy(&actions);
        ::close(ends[1]);
        output_ = ::fdopen(ends[0], "r");
    }
    ~Program() {
        if (pid_ > 0)
            end(SIGKILL);
        std::fclose(output_);
    }

    std::string line() {
        char buffer[1000] = "";
        return std::fgets(buffer, sizeof buffer, output_) ? buffer : "";
    }
    /// The exit status; negative for a signal.
    int wait() {
        int status = 0;
        ::waitpid(std::exchange(pid_, 0), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    int end(int signal) {
        ::kill(pid_, signal);
        return wait();
    }
    std::string complaints() const { return contents(complaints_); }

  private:
    const std::string complaints_;
    pid_t pid_ = 0;
    std::FILE* output_ = nullptr;
};

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
