// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/TallydConnection.h"
#include "tallyctl/program/Arguments.h"
#include "tallyctl/program/Output.h"
#include "tallyctl/program/Program.h"

#include <csignal>
#include <cstdio>

#include <unistd.h>

using namespace brindle;

namespace {

/// Before the first thread starts, so that every thread has them blocked and only the main thread,
/// by waiting for them, gets them.
void blockEndingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGUSR1})
        sigaddset(&signals, signal);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

} // namespace

int main(int argc, char** argv) {
    const auto arguments = tallyctl::parseArguments(argc, argv);
    if (!arguments) {
        const auto& end = arguments.error();
        std::fputs(end.text.c_str(), end.exitCode == 0 ? stdout : stderr);
        return end.exitCode;
    }
    std::signal(SIGPIPE, SIG_IGN);
    tallyctl::Output output(STDOUT_FILENO);
    const bool tails = arguments->command == tallyctl::Command::tail;
    if (tails)
        blockEndingSignals();
    const auto outcome = tails ? tallyctl::runTail(*arguments, openTallydConnection, output)
                               : tallyctl::runRequest(*arguments, openTallydConnection, output);
    if (!outcome) {
        std::fprintf(stderr, "tallyctl: %s\n", outcome.error().c_str());
        return 1;
    }
    return 0;
}
