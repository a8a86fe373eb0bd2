// SPDX-License-Identifier: BSD-2-Clause
//
// What every system test works with: a folder of its own, captures, and a daemon on a store in that
// folder. One thread.
#pragma once

#include "tests/system/Process.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace brindle::test {

inline const std::string kPrograms = BRINDLE_PROGRAMS;

/// A moment all captures of the tests begin at, seconds since 1970.
inline constexpr const char* kStart = "1700000000";

class Workshop : public ::testing::Test {
  protected:
    Workshop() {
        std::string name = "/tmp/system-test.XXXXXX";
        folder_ = ::mkdtemp(name.data());
    }
    ~Workshop() override {
        daemon_.reset();
        std::filesystem::remove_all(folder_);
    }

    std::string path(const std::string& name) const { return folder_ + "/" + name; }

    /// The path of a new capture of `count` records within `span` seconds from kStart on.
    std::string capture(const std::string& kind, int count, int seed = 1, int span = 3600) const {
        const std::string file = path(kind + std::to_string(seed) + ".pcap");
        const Finished made = run({kPrograms + "/makecapture", "--kind", kind, "--count",
                                   std::to_string(count), "--seed", std::to_string(seed), "--start",
                                   kStart, "--span", std::to_string(span), file});
        EXPECT_EQ(made.exitCode, 0) << made.errors;
        return file;
    }

    Finished import(const std::vector<std::string>& inputs,
                    const std::string& standardInput = "/dev/null") const {
        std::vector<std::string> words{kPrograms + "/tallyd", "import", "--store", store()};
        words.insert(words.end(), inputs.begin(), inputs.end());
        return run(words, standardInput);
    }

    /// Serves the store; returns once requests are answered.
    void serve(const std::vector<std::string>& sources = {}) {
        std::vector<std::string> words{
            kPrograms + "/tallyd", "serve", "--store", store(), "--socket", socket()};
        for (const std::string& source : sources)
            words.insert(words.end(), {"--source", source});
        daemon_ = std::make_unique<Process>(words);
        const auto line = daemon_->line();
        ASSERT_TRUE(line) << daemon_->finish().errors;
        ASSERT_EQ(*line, "ready");
    }

    std::vector<std::string> tallyctl(std::vector<std::string> words) const {
        words.insert(words.begin(), {kPrograms + "/tallyctl", "--socket", socket()});
        return words;
    }
    Finished ask(std::vector<std::string> words) const { return run(tallyctl(std::move(words))); }

    /// Every stored record, newest first.
    std::vector<nlohmann::json> records() const {
        const Finished answer =
            ask({"query", "--from", "0", "--to", "9999999999", "--format", "jsonl"});
        EXPECT_EQ(answer.exitCode, 0) << answer.errors;
        std::vector<nlohmann::json> all;
        for (const std::string& line : linesOf(answer.output))
            all.push_back(nlohmann::json::parse(line));
        return all;
    }

    std::string store() const { return path("store.sqlite"); }
    std::string socket() const { return path("tallyd.sock"); }

    std::string folder_;
    std::unique_ptr<Process> daemon_;
};

} // namespace brindle::test
