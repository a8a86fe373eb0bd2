// SPDX-License-Identifier: BSD-2-Clause
#include "tests/system/Process.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace brindle::test {

Process::Process(const std::vector<std::string>& words, const std::string& input) {
    int ends[2];
    char name[] = "/tmp/system-test.XXXXXX";
    const int errors = ::mkstemp(name);
    if (::pipe2(ends, O_CLOEXEC) != 0 || errors < 0)
        throw std::runtime_error("no pipe or file for a program's output");
    errorFile_ = name;
    output_ = ends[0];

    ::setenv("TZ", "UTC", 1);
    std::vector<char*> arguments;
    for (const std::string& word : words)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, input.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, ends[1], 1);
    posix_spawn_file_actions_adddup2(&actions, errors, 2);
    posix_spawn_file_actions_addclose(&actions, errors);
    const int failure =
        ::posix_spawnp(&pid_, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(ends[1]);
    ::close(errors);
    if (failure != 0)
        throw std::runtime_error("cannot start " + words[0]);
}

Process::~Process() {
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    closeOutput();
    ::unlink(errorFile_.c_str());
}

std::optional<std::string> Process::line(std::chrono::seconds patience) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    for (;;) {
        if (const auto end = pending_.find('\n'); end != pending_.npos) {
            std::string line = pending_.substr(0, end);
            pending_.erase(0, end + 1);
            return line;
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd ready{output_, POLLIN, 0};
        if (left.count() <= 0 || ::poll(&ready, 1, static_cast<int>(left.count())) <= 0)
            return std::nullopt;
        char buffer[65536];
        const ssize_t count = ::read(output_, buffer, sizeof buffer);
        if (count <= 0)
            return std::nullopt;
        pending_.append(buffer, static_cast<std::size_t>(count));
    }
}

void Process::signal(int number) const {
    if (pid_ > 0)
        ::kill(pid_, number);
}

void Process::closeOutput() {
    if (output_ >= 0)
        ::close(std::exchange(output_, -1));
}

Finished Process::finish() {
    Finished finished;
    finished.output = std::exchange(pending_, {});
    char buffer[65536];
    for (ssize_t count = 0; output_ >= 0 && (count = ::read(output_, buffer, sizeof buffer)) > 0;)
        finished.output.append(buffer, static_cast<std::size_t>(count));
    int status = 0;
    ::waitpid(std::exchange(pid_, -1), &status, 0);
    finished.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    finished.errors = fileText(errorFile_);
    return finished;
}

Finished run(const std::vector<std::string>& words, const std::string& input) {
    return Process(words, input).finish();
}

std::string fileText(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

} // namespace brindle::test
