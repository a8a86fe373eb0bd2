// SPDX-License-Identifier: BSD-2-Clause
//
// The main of tests with real windows: runs them on a virtual display of their own, so that no key
// that another test or person holds down reaches them.

#include <gtest/gtest.h>

#include <QApplication>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <string_view>

#include <sys/wait.h>
#include <unistd.h>

namespace {

class VirtualDisplay {
  public:
    VirtualDisplay() {
        int ends[2];
        if (::pipe(ends) != 0) {
            return;
        }
        child_ = ::fork();
        if (child_ == 0) {
            ::close(ends[0]);
            ::execlp("Xvfb", "Xvfb", "-displayfd", std::to_string(ends[1]).c_str(), "-screen", "0",
                     "1600x1000x24", "-nolisten", "tcp", nullptr);
            ::_exit(127);
        }
        ::close(ends[1]);
        std::string number;
        for (char c = 0; ::read(ends[0], &c, 1) == 1 && c != '\n';) {
            number += c;
        }
        ::close(ends[0]);
        if (!number.empty()) {
            ::setenv("DISPLAY", (":" + number).c_str(), 1);
            ready_ = true;
        }
    }
    ~VirtualDisplay() {
        if (child_ > 0) {
            ::kill(child_, SIGTERM);
            ::waitpid(child_, nullptr, 0);
        }
    }
    VirtualDisplay(const VirtualDisplay&) = delete;
    VirtualDisplay& operator=(const VirtualDisplay&) = delete;
    bool ready() const { return ready_; }

  private:
    pid_t child_ = -1;
    bool ready_ = false;
};

int runTests(int argc, char** argv) {
    // What a user of any locale and zone sees is tested in one of each.
    ::setenv("TZ", "UTC", 1);
    ::setenv("LC_ALL", "C.UTF-8", 1);
    ::tzset();
    ::setenv("QT_QPA_PLATFORM", "xcb", 1);
    ::setenv("XDG_RUNTIME_DIR", "/tmp", 0);
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    return RUN_ALL_TESTS();
}

} // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (testing::GTEST_FLAG(list_tests)) {
        return RUN_ALL_TESTS();
    }
    const VirtualDisplay own;
    if (!own.ready()) {
        std::puts("[  SKIPPED ] Xvfb cannot be started");
        return 77;
    }
    return runTests(argc, argv);
}
