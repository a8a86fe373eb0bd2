// SPDX-License-Identifier: BSD-2-Clause
#include "tallyctl/program/Program.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

namespace brindle::tallyctl {
namespace {

/// What a made-up daemon does when it is asked; answers come from a delivery thread of its own.
struct Script {
    int batches = 0;   ///< of one record each, before the answer ends
    std::string error; ///< instead of the end, and of every other reply
    std::vector<std::string> asked;
    std::atomic<int> delivered = 0;
    std::atomic<bool> cancelled = false;
};

class ScriptedQuery : public RunningQuery {
  public:
    ScriptedQuery(Script& script, RecordReply reply, ErrorHandler onError)
        : script_(script), thread_([this, reply = std::move(reply), onError = std::move(onError)] {
              for (int i = 0; i < script_.batches; ++i) {
                  const std::lock_guard lock(mutex_);
                  if (script_.cancelled)
                      return;
                  RecordBatchBuilder builder;
                  const auto text = builder.intern("x");
                  builder.add({.epoch = 1.0 * i, .rule = text});
                  reply.batch(builder.finish());
                  ++script_.delivered;
              }
              script_.error.empty() ? reply.end() : onError(script_.error);
          }) {}
    ~ScriptedQuery() override { thread_.join(); }
    void cancel() override {
        const std::lock_guard lock(mutex_);
        script_.cancelled = true;
    }

  private:
    Script& script_;
    std::mutex mutex_;
    std::thread thread_;
};

class ScriptedHelper : public TallydHelperProtocol {
  public:
    ScriptedHelper(Script& script, std::weak_ptr<TallydAgentProtocol> agent, ErrorHandler onError)
        : script_(script), agent_(std::move(agent)), onError_(std::move(onError)) {}

    void getVersionWithReply(std::function<void(std::string)> reply) override {
        answer("version", [&] { reply("9.8"); });
    }
    std::shared_ptr<RunningQuery> doQueryFromEpochFrom(double from, double to,
                                                       RecordReply reply) override {
        script_.asked.push_back("query " + std::to_string(from) + " " + std::to_string(to));
        return std::make_shared<ScriptedQuery>(script_, std::move(reply), onError_);
    }
    void getOBJcontWithEpoch(double epoch, std::string action, std::string direction,
                             std::string obj, std::function<void(CountReply)> reply) override {
        answer("count " + std::to_string(epoch) + " " + action + " " + direction + " " + obj, [&] {
            reply({{{"80", 2, false, true}}, 1});
        });
    }
    void startSendingLog() override {
        script_.asked.push_back("start");
        if (!script_.error.empty())
            return onError_(script_.error);
        const auto agent = agent_.lock();
        LiveRecordDictionary record;
        agent->realTimeLogWithInfo(record); // no numbers: no row
        record.set(LiveKey::EPOCH, 1.5);
        for (const auto key : {LiveKey::UID, LiveKey::SRCPORT, LiveKey::DSTPORT})
            record.set(key, std::int64_t{7});
        agent->realTimeLogWithInfo(record);
    }
    void stopSendingLog() override {}
    void getPORTfromIPcontWithEpoch(double, std::string ip, std::string, std::string,
                                    std::function<void(BreakdownReply)> reply) override {
        answer("ports-of " + ip, [&] {
            reply({{{"80", 2, false, true}}, {{"443", 1, false, true}}, 1});
        });
    }
    void getIPfromPORTcontWithEpoch(double, std::int64_t port, std::string, std::string,
                                    std::function<void(BreakdownReply)> reply) override {
        answer("addresses-of " + std::to_string(port), [&] { reply({}); });
    }
    void sendPortsArraysWithPassin(std::vector<std::string>, std::vector<std::string>,
                                   std::vector<std::string>, std::vector<std::string>) override {}
    void getOldestRecordDateWithReply(std::function<void(std::string)> reply) override {
        answer("oldest", [&] { reply(""); });
    }
    void getNewestRecordDateWithReply(std::function<void(std::string)> reply) override {
        answer("newest", [&] { reply("2023/11/14 22:13:20"); });
    }
    void getRowsCountWithReply(std::function<void(std::string)> reply) override {
        answer("rows", [&] { reply("0"); });
    }
    void purgeLogDBWithEndDate(double end) override {
        answer("purge " + std::to_string(end), [] {});
    }
    void getStatusWithReply(std::function<void(DaemonStatus)> reply) override {
        answer("status", [&] { reply({}); });
    }

  private:
    void answer(std::string asked, const std::function<void()>& reply) {
        script_.asked.push_back(std::move(asked));
        script_.error.empty() ? reply() : onError_(script_.error);
    }

    Script& script_;
    std::weak_ptr<TallydAgentProtocol> agent_;
    ErrorHandler onError_;
};

class ScriptedConnection : public TallydConnection {
  public:
    ScriptedConnection(Script& script, std::weak_ptr<TallydAgentProtocol> agent)
        : script_(script), agent_(std::move(agent)) {}
    void setInvalidationHandler(std::function<void()>) override {}
    void resume() override {}
    void invalidate() override {}
    std::shared_ptr<TallydHelperProtocol>
    remoteObjectProxyWithErrorHandler(ErrorHandler handler) override {
        return std::make_shared<ScriptedHelper>(script_, agent_, std::move(handler));
    }
    std::shared_ptr<TallydHelperProtocol>
    synchronousRemoteObjectProxyWithErrorHandler(ErrorHandler handler) override {
        return remoteObjectProxyWithErrorHandler(std::move(handler));
    }

  private:
    Script& script_;
    std::weak_ptr<TallydAgentProtocol> agent_;
};

Arguments asking(Command command) {
    Arguments arguments;
    arguments.command = command;
    arguments.format = Format::jsonl;
    return arguments;
}

class TallyctlRequests : public ::testing::Test {
  protected:
    TallyctlRequests() {
        std::signal(SIGPIPE, SIG_IGN);
        if (::pipe(pipe_) != 0)
            std::abort();
    }
    ~TallyctlRequests() override {
        closeReader();
        ::close(pipe_[1]);
    }
    void closeReader() { ::close(std::exchange(pipe_[0], -1)); }
    std::string printed() {
        std::string text(4096, '\0');
        Output(pipe_[1]).write("|");
        text.resize(static_cast<std::size_t>(::read(pipe_[0], text.data(), text.size())));
        text.pop_back();
        return text;
    }
    OpenConnection opener() {
        return [this](Connector, std::weak_ptr<TallydAgentProtocol> agent) {
            return std::make_shared<ScriptedConnection>(script_, std::move(agent));
        };
    }
    Outcome run(Arguments arguments) {
        Output output(pipe_[1]);
        return runRequest(arguments, opener(), output);
    }

    int pipe_[2] = {-1, -1};
    Script script_;
};

TEST_F(TallyctlRequests, EachCommandSendsItsRequestAndPrintsItsReply) {
    struct Case {
        Arguments arguments;
        std::string asked;
        std::string printed;
    };
    Arguments sample = asking(Command::version);
    sample.epoch = 2;
    sample.before = 3;
    sample.action = "pass";
    sample.direction = "out";
    sample.object = "DSTIP";
    sample.address = "192.0.2.1";
    sample.port = 53;
    const auto with = [&](Command command, BreakdownList list = BreakdownList::entries) {
        Arguments arguments = sample;
        arguments.command = command;
        arguments.list = list;
        return arguments;
    };
    const std::string port80 = "{\"label\":\"80\",\"value\":2,\"isIP\":false,\"isPort\":true}\n";
    const std::string port443 = "{\"label\":\"443\",\"value\":1,\"isIP\":false,\"isPort\":true}\n";
    const Case cases[]{
        {with(Command::version), "version", "9.8\n"},
        {with(Command::oldest), "oldest", "\n"},
        {with(Command::newest), "newest", "2023/11/14 22:13:20\n"},
        {with(Command::rows), "rows", "0\n"},
        {with(Command::count), "count 2.000000 pass out DSTIP", port80},
        {with(Command::portsOf), "ports-of 192.0.2.1", port80},
        {with(Command::portsOf, BreakdownList::pie), "ports-of 192.0.2.1", port443},
        {with(Command::addressesOf), "addresses-of 53", ""},
        {with(Command::purge), "purge 3.000000", ""},
    };
    for (const Case& c : cases) {
        script_.asked.clear();
        EXPECT_TRUE(run(c.arguments)) << c.asked;
        EXPECT_THAT(script_.asked, ::testing::ElementsAre(c.asked));
        EXPECT_EQ(printed(), c.printed) << c.asked;
    }
}

TEST_F(TallyctlRequests, TheTimeOfAnAnswerIsToldBesideIt) {
    Arguments count = asking(Command::count);
    const auto told = [&] {
        testing::internal::CaptureStderr();
        EXPECT_TRUE(run(count));
        return testing::internal::GetCapturedStderr();
    };
    EXPECT_EQ(told(), "");
    const std::string untimed = printed();
    count.time = true;
    EXPECT_THAT(told(), testing::MatchesRegex("tallyctl: answered after [0-9]+\\.[0-9] ms\n"));
    EXPECT_EQ(printed(), untimed);
}

TEST_F(TallyctlRequests, ARefusedRequestIsAFailureWithItsLine) {
    script_.error = "not for you";
    for (const auto command :
         {Command::version, Command::query, Command::count, Command::portsOf, Command::addressesOf,
          Command::oldest, Command::newest, Command::rows, Command::purge, Command::status}) {
        const auto outcome = run(asking(command));
        ASSERT_FALSE(outcome) << static_cast<int>(command);
        EXPECT_EQ(outcome.error(), "not for you");
        EXPECT_EQ(printed(), "");
    }
}

TEST_F(TallyctlRequests, AHeadingStandsOnceAboveTheAnswerAndNotAboveAFailure) {
    Arguments query = asking(Command::query);
    query.format = Format::csv;
    const auto lines = [&](int batches, const std::string& error) {
        script_.cancelled = false;
        script_.batches = batches;
        script_.error = error;
        EXPECT_EQ(run(query).has_value(), error.empty());
        const std::string text = printed();
        return std::count(text.begin(), text.end(), '\n');
    };
    EXPECT_EQ(lines(0, ""), 1);
    EXPECT_EQ(lines(3, ""), 4);
    EXPECT_EQ(lines(0, "not for you"), 0);
}

TEST_F(TallyctlRequests, AnAnswerThatBreaksOffKeepsItsLinesAndFails) {
    script_.batches = 2;
    script_.error = "connection lost";
    const auto outcome = run(asking(Command::query));
    ASSERT_FALSE(outcome);
    EXPECT_EQ(outcome.error(), "connection lost");
    const std::string text = printed();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2);
}

TEST_F(TallyctlRequests, AReaderThatGoesAwayEndsTheQueryQuietly) {
    script_.batches = 1000000;
    closeReader();
    EXPECT_TRUE(run(asking(Command::query)));
    EXPECT_TRUE(script_.cancelled);
    EXPECT_LT(script_.delivered, script_.batches);
}

TEST_F(TallyctlRequests, TailPrintsRecordsUntilInterrupted) {
    sigset_t signals;
    sigset_t before;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGUSR1})
        sigaddset(&signals, signal);
    pthread_sigmask(SIG_BLOCK, &signals, &before);
    pthread_kill(pthread_self(), SIGTERM); // waits until it is waited for
    Output output(pipe_[1]);
    const Arguments tail = asking(Command::tail);
    EXPECT_TRUE(runTail(tail, opener(), output));
    const std::string text = printed();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1);
    EXPECT_THAT(text, ::testing::HasSubstr("\"epoch\":\"1.5\",\"uid\":\"7\""));

    script_.error = "not for you";
    const auto refused = runTail(tail, opener(), output);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error(), "not for you");

    script_.error.clear();
    closeReader();
    EXPECT_TRUE(runTail(tail, opener(), output));
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

} // namespace
} // namespace brindle::tallyctl
