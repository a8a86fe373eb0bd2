// SPDX-License-Identifier: BSD-2-Clause
//
// A tallyd that a test has started, and what a service manager would hear from it. Tests only; one
// thread.
#pragma once

#include "tests/tallyd/store/StoreFixture.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <pwd.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace brindle::tallyd {

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
    pid_t pid() const { return pid_; }
    void signal(int number) const { ::kill(pid_, number); }
    std::string complaints() const { return contents(complaints_); }

  private:
    const std::string complaints_;
    pid_t pid_ = 0;
    std::FILE* output_ = nullptr;
};

/// Options for a daemon that stays who it is, also when root runs the tests.
inline std::vector<std::string> stayingSelf(std::vector<std::string> arguments) {
    if (const passwd* const self = ::getpwuid(::geteuid()))
        arguments.insert(arguments.end(), {"--user", self->pw_name});
    return arguments;
}

/// The socket that a service manager listens on. Started programs find it while it exists.
class FakeManager {
  public:
    explicit FakeManager(const std::string& path)
        : socket_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        if (::bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
            throw std::runtime_error("no socket");
        ::setenv("NOTIFY_SOCKET", path.c_str(), 1);
    }
    ~FakeManager() {
        ::unsetenv("NOTIFY_SOCKET");
        ::unsetenv("WATCHDOG_USEC");
        ::close(socket_);
    }
    void watch(int milliseconds) {
        ::setenv("WATCHDOG_USEC", std::to_string(milliseconds * 1000).c_str(), 1);
    }

    /// The first line of the next message; empty when none comes for so long.
    std::string told(int milliseconds = 10000) {
        pollfd waiting{socket_, POLLIN, 0};
        char message[1000];
        if (::poll(&waiting, 1, milliseconds) != 1)
            return "";
        const ssize_t length = ::recv(socket_, message, sizeof message, 0);
        const std::string text(message, static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
        return text.substr(0, text.find('\n'));
    }

  private:
    int socket_;
};

} // namespace brindle::tallyd
