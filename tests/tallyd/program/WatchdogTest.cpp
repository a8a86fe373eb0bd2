// SPDX-License-Identifier: BSD-2-Clause
//
// The service manager hears of the daemon only while it does its work, and it ends when it is told
// to, whatever its clients do.
#include "tests/tallyd/program/BesiegedDaemon.h"

#include <cerrno>

#include <sys/ptrace.h>

namespace brindle::tallyd {
namespace {

/// Holds one thread of a program as a debugger does, until it goes.
class HeldThread {
  public:
    HeldThread(pid_t program, const std::string& name) {
        for (const auto& task :
             std::filesystem::directory_iterator("/proc/" + std::to_string(program) + "/task"))
            if (contents(task.path() / "comm") == name + "\n")
                thread_ = std::stoi(task.path().filename());
        isHeld_ = thread_ > 0 && ::ptrace(PTRACE_SEIZE, thread_, nullptr, nullptr) == 0 &&
                  ::ptrace(PTRACE_INTERRUPT, thread_, nullptr, nullptr) == 0 &&
                  ::waitpid(thread_, nullptr, __WALL) == thread_;
    }
    ~HeldThread() {
        if (isHeld_)
            ::ptrace(PTRACE_DETACH, thread_, nullptr, nullptr);
    }
    HeldThread(const HeldThread&) = delete;
    HeldThread& operator=(const HeldThread&) = delete;

    bool exists() const { return thread_ > 0; }
    bool isHeld() const { return isHeld_; }

  private:
    pid_t thread_ = 0;
    bool isHeld_ = false;
};

/// The manager is there before the daemon starts.
struct Managed {
    Managed() { manager.watch(400); }
    TemporaryFolder managersFolder;
    FakeManager manager{managersFolder.file("manager")};
};

class Watchdog : private Managed, public BesiegedDaemon {
  protected:
    using Managed::manager;

    /// Whether the daemon tells that it lives, within several times the time it has.
    bool isHeardOf() { return manager.told(1500) == "WATCHDOG=1"; }
    /// What was sent before is heard at once.
    void forget() {
        while (!manager.told(0).empty()) {
        }
    }
};

TEST_F(Watchdog, ADaemonWhoseThreadHangsIsNotHeardOfUntilItGoesOn) {
    EXPECT_EQ(manager.told(), "READY=1");
    for (const char* name : {"server", "intake"}) {
        SCOPED_TRACE(name);
        EXPECT_TRUE(isHeardOf());
        {
            const HeldThread held(daemon.pid(), name);
            ASSERT_TRUE(held.exists());
            if (!held.isHeld())
                GTEST_SKIP() << "needs the right to hold a thread (ptrace)";
            ::usleep(600000); // two more rounds may have found it alive
            forget();
            EXPECT_FALSE(isHeardOf());
        }
        ::usleep(300000);
        forget();
        EXPECT_TRUE(isHeardOf());
        EXPECT_TRUE(isHeardOf());
    }
    EXPECT_EQ(daemon.end(SIGTERM), 0);
    EXPECT_THAT(daemon.complaints(), testing::HasSubstr("requests are not answered"));
    EXPECT_THAT(daemon.complaints(), testing::HasSubstr("the writer does not get on"));
}

TEST_F(Watchdog, ItEndsWithinTwoSecondsWhateverItsClientsDo) {
    EXPECT_EQ(manager.told(), "READY=1");
    const std::string everything = askingForEverything(30);
    const RawClient deaf(socket);
    deaf.send(everything);
    std::atomic<bool> stopping = false;
    std::thread asking([&] {
        test::Client client(connector());
        while (!stopping && client.errors.now().empty()) {
            client.proxy()->doQueryFromEpochFrom(0, 1e12, {[](auto) {}, [] {}});
            client.synchronous()->getRowsCountWithReply([](auto) {});
        }
    });
    for (int i = 0; i < 10; ++i)
        expectAnswers();
    const auto began = Clock::now();
    EXPECT_EQ(daemon.end(SIGTERM), 0);
    EXPECT_LT(Clock::now() - began, std::chrono::seconds(kSanitized ? 20 : 2));
    stopping = true;
    asking.join();
    // What was taken in before is there.
    EXPECT_FALSE(std::filesystem::exists(path + "-wal"));
    EXPECT_GT(figures().rows, 0u);
}

} // namespace
} // namespace brindle::tallyd
