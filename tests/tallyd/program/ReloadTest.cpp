// SPDX-License-Identifier: BSD-2-Clause
//
// What an unattended daemon is told while it runs, and what it tells its service manager.
#include "tests/tallyd/program/StartedProgram.h"

#include <chrono>
#include <map>

#include <gmock/gmock.h>

namespace brindle::tallyd {
namespace {

using testing::HasSubstr;

class ReloadTest : public StoreTest {
  protected:
    void configure(const std::string& sources, const std::string& more = "") {
        std::ofstream(configuration) << "store = \"" << path << "\"\nsocket = \"" << socket
                                     << "\"\nsources = [" << sources << "]\n"
                                     << more;
    }
    Program start() {
        return Program(stayingSelf({"serve", "--config", configuration}),
                       folder.file("complaints"));
    }
    /// Appends lines to a log that is followed.
    std::string log(const std::string& name, int lines) {
        const std::string file = folder.file(name);
        std::ofstream log(file, std::ios::app);
        for (int i = 0; i < lines; ++i)
            log << "2023-11-14T22:13:20.000000+00:00 fw kernel: [DROP] IN=eth0 OUT= "
                << "MAC=00:00:00:00:00:00 SRC=192.0.2.1 DST=198.51.100.7 LEN=60 TOS=0x00 "
                << "PREC=0x00 TTL=64 ID=1 PROTO=TCP SPT=40000 DPT=443 WINDOW=64240 RES=0x00 SYN "
                << "URGP=0\n";
        return "\"netfilter:" + file + "\"";
    }
    void expectRows(std::uint64_t rows) {
        for (int i = 0; i < 1000 && figures().rows < rows; ++i)
            ::usleep(10000);
        EXPECT_EQ(figures().rows, rows);
    }
    void reload(Program& program) {
        program.signal(SIGHUP);
        EXPECT_EQ(manager.told(), "RELOADING=1");
        EXPECT_EQ(manager.told(), "READY=1");
    }

    const std::string configuration = folder.file("tallyd.toml");
    const std::string socket = folder.file("socket");
    FakeManager manager{folder.file("manager")};
};

TEST_F(ReloadTest, SourcesComeGoAndComeBackWithoutARecordLostOrTwice) {
    const std::string first = log("first", 10);
    const std::string second = log("second", 100);
    configure(first);
    Program program = start();
    EXPECT_EQ(program.line(), "ready\n");
    EXPECT_EQ(manager.told(), "READY=1");
    expectRows(10);

    configure(first + ", " + second);
    reload(program);
    expectRows(110);
    configure(second);
    reload(program);
    log("first", 3); // nobody reads it now
    log("second", 100);
    expectRows(210);
    configure(first + ", " + second, "[limits]\nqueue_records = 1000\n");
    reload(program);
    expectRows(213);

    EXPECT_EQ(program.end(SIGTERM), 0);
    EXPECT_EQ(manager.told(), "STOPPING=1");
    EXPECT_EQ(program.complaints(),
              "tallyd: reload: 1 sources added, 0 removed, 1 kept\n"
              "tallyd: reload: 0 sources added, 1 removed, 1 kept\n"
              "tallyd: reload: 1 sources added, 0 removed, 1 kept\n"
              "tallyd: reload: \"limits\" changed: taken at the next start\n");
}

TEST_F(ReloadTest, AMistakeInTheNewFileIsOneLineAndTheOldSourcesStay) {
    const std::string first = log("first", 10);
    configure(first);
    Program program = start();
    EXPECT_EQ(program.line(), "ready\n");
    EXPECT_EQ(manager.told(), "READY=1");
    configure(first + ",\n\"odd:x\"");
    reload(program);
    // Right as a text, and yet it cannot be had.
    configure("\"replay:" + folder.file("missing") + "\"");
    reload(program);
    log("first", 5);
    expectRows(15);
    EXPECT_EQ(program.end(SIGTERM), 0);
    EXPECT_THAT(program.complaints(),
                testing::MatchesRegex("tallyd: reload: [^\n]*tallyd.toml:4: source \"odd:x\"[^\n]*"
                                      "; nothing is changed\n"
                                      "tallyd: reload: source \"replay:[^\n]*missing[^\n]*"
                                      "; nothing is changed\n"));
}

TEST_F(ReloadTest, WhatPrefixesMeanIsConfiguredAndStaysForSourcesThatStay) {
    const auto actions = [this] {
        std::map<std::string, int> counts;
        for (const std::string& row : query(0, kEver))
            ++counts[row.find("|block|") != row.npos ? "block" : "pass"];
        return counts;
    };
    using Counts = std::map<std::string, int>;
    const std::string first = log("first", 10); // their prefix is [DROP]
    configure(first, "[actions]\npassed = [\"drop\"]\n");
    Program program = start();
    EXPECT_EQ(manager.told(), "READY=1");
    expectRows(10);
    EXPECT_EQ(actions(), (Counts{{"pass", 10}}));

    const std::string second = log("second", 100);
    configure(first + ", " + second);
    reload(program);
    expectRows(110);
    log("first", 5);
    expectRows(115);
    EXPECT_EQ(actions(), (Counts{{"pass", 15}, {"block", 100}}));
    EXPECT_EQ(program.end(SIGTERM), 0);
    EXPECT_EQ(program.complaints(),
              "tallyd: reload: 1 sources added, 0 removed, 1 kept\n"
              "tallyd: reload: \"actions\" changed: taken by new sources, by those that were kept "
              "at the next start\n");
}

TEST_F(ReloadTest, AServiceThatStaysRootSaysSoOnce) {
    if (::geteuid() != 0 || ::getpwnam("tallyd"))
        GTEST_SKIP() << "needs root, on a machine without the user tallyd";
    configure("");
    Program program({"serve", "--config", configuration}, folder.file("complaints"));
    EXPECT_EQ(manager.told(), "READY=1");
    EXPECT_EQ(program.end(SIGTERM), 0);
    EXPECT_EQ(program.complaints(),
              "tallyd: there is no user \"tallyd\": root's rights are kept\n");
}

TEST_F(ReloadTest, TheManagerHearsOfALivingDaemonUntilItStops) {
    manager.watch(200);
    configure("");
    Program program = start();
    EXPECT_EQ(program.line(), "ready\n");
    EXPECT_EQ(manager.told(), "READY=1");
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(manager.told(1000), "WATCHDOG=1");
    // Reloads without end are no reason to be silent, and the time between is not stretched.
    const auto began = std::chrono::steady_clock::now();
    int alive = 0;
    while (std::chrono::steady_clock::now() - began < std::chrono::seconds(1)) {
        program.signal(SIGHUP);
        while (true) {
            const std::string told = manager.told(50);
            alive += told == "WATCHDOG=1";
            if (told.empty() || told == "READY=1")
                break;
        }
    }
    EXPECT_GE(alive, 5);
    EXPECT_EQ(program.end(SIGTERM), 0);
}

} // namespace
} // namespace brindle::tallyd
