// SPDX-License-Identifier: BSD-2-Clause
//
// Programs run by the system tests: started with their output in pipes, ended with the test. One
// thread.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace brindle::test {

/// How a program ended and what it said.
struct Finished {
    int exitCode = -1; ///< 128 + the signal when one ended it
    std::string output;
    std::string errors;
};

/// A program under way. Destroying it kills it.
class Process {
  public:
    /// `words`: the program's path, or its name on PATH, and its arguments. TZ is UTC in it.
    /// `input` becomes its standard input.
    explicit Process(const std::vector<std::string>& words, const std::string& input = "/dev/null");
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    ~Process();

    /// The next line of standard output without its end; nothing when the program closed it or
    /// `patience` is over.
    std::optional<std::string> line(std::chrono::seconds patience = std::chrono::seconds(30));
    void signal(int number) const;
    /// Stops listening to standard output.
    void closeOutput();
    /// Waits for the end and collects the rest of both outputs.
    Finished finish();

  private:
    pid_t pid_ = -1;
    int output_ = -1;
    std::string errorFile_;
    std::string pending_;
};

Finished run(const std::vector<std::string>& words, const std::string& input = "/dev/null");

std::string fileText(const std::string& path);
std::vector<std::string> linesOf(const std::string& text);

} // namespace brindle::test
