// SPDX-License-Identifier: BSD-2-Clause
//
// A log file that is written and rotated while its daemon is killed again and again.
#include "tests/system/Workshop.h"

#include <atomic>
#include <csignal>
#include <fstream>
#include <map>
#include <thread>

namespace brindle::test {
namespace {

using nlohmann::json;

class Follow : public Workshop {};

TEST_F(Follow, EveryLineIsStoredOnceWhateverEndsTheDaemon) {
    constexpr int kLines = 12'000;
    constexpr int kLinesInAFile = 1'500;
    std::atomic<int> written = 0;
    std::thread writer([&] {
        for (int number = 0; number < kLines; ++number) {
            if (number > 0 && number % kLinesInAFile == 0) {
                const int rotated = number / kLinesInAFile;
                for (int i = rotated - 1; i >= 1; --i)
                    std::filesystem::rename(path("log." + std::to_string(i)),
                                            path("log." + std::to_string(i + 1)));
                std::filesystem::rename(path("log"), path("log.1"));
            }
            std::ofstream(path("log"), std::ios::app)
                << "Jun  8 14:34:33 gate kernel: [502.08] DROP IN=eth0 OUT= SRC=203.0.113.7 "
                << "DST=10.0.0.5 PROTO=UDP SPT=1 DPT=" << number << "\n";
            written = number + 1;
            if (number % 20 == 0)
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    });
    int killed = 0;
    while (written < kLines) {
        serve({"netfilter:" + path("log")});
        std::this_thread::sleep_for(std::chrono::milliseconds(200 + 150 * (killed % 4)));
        daemon_->signal(killed % 3 == 2 ? SIGTERM : SIGKILL);
        daemon_->finish();
        ++killed;
    }
    writer.join();
    EXPECT_GE(killed, 3);

    serve({"netfilter:" + path("log")});
    for (int tries = 0; tries < 200 && ask({"rows"}).output != std::to_string(kLines) + "\n";
         ++tries)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    std::map<std::string, int> seen;
    for (const json& record : records())
        ++seen[record.at("dstport").get<std::string>()];
    EXPECT_EQ(seen.size(), std::size_t{kLines}) << "lines were skipped";
    for (const auto& [port, count] : seen)
        EXPECT_EQ(count, 1) << port;
    const json status = json::parse(ask({"status", "--json"}).output);
    EXPECT_EQ(status.at("lost").size(), 0u) << status;
    EXPECT_EQ(status.at("sources")[0].at("state"), "running");
}

} // namespace
} // namespace brindle::test
