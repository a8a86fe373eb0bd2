// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/live/LiveSource.h"

#include "tests/tallyd/sources/RecordingSink.h"

#include <deque>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spdlog/sinks/ostream_sink.h>
#include <spdlog/spdlog.h>

namespace brindle::tallyd {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

/// Plays one outcome after the other: "!reason" fails to open, "reason" opens and fails while
/// reading, "" opens and reads until it is stopped.
class ScriptedReader final : public SourceReader {
  public:
    explicit ScriptedReader(std::deque<std::string> script) : script_(std::move(script)) {}

    tl::expected<void, std::string> open() override {
        if (!script_.front().starts_with('!'))
            return {};
        const std::string reason = script_.front().substr(1);
        script_.pop_front();
        return tl::unexpected(reason);
    }
    std::string read(SourceFeed& feed) override {
        const std::string reason = script_.front();
        script_.pop_front();
        if (reason.empty())
            feed.stop().waitFor(-1, std::nullopt);
        return reason;
    }

  private:
    std::deque<std::string> script_;
};

/// Collects what is logged meanwhile.
class LogCapture {
  public:
    LogCapture() : before_(spdlog::default_logger()) {
        auto logger = std::make_shared<spdlog::logger>(
            "test", std::make_shared<spdlog::sinks::ostream_sink_mt>(text_));
        logger->set_pattern("%v");
        spdlog::set_default_logger(logger);
    }
    ~LogCapture() { spdlog::set_default_logger(before_); }
    std::string text() const { return text_.str(); }

  private:
    std::ostringstream text_;
    std::shared_ptr<spdlog::logger> before_;
};

TEST(LiveSource, WaitsTriesAgainAndSaysEachThingOnce) {
    const LogCapture log;
    RecordingSink sink;
    {
        LiveSource source("nflog:5",
                          std::make_unique<ScriptedReader>(std::deque<std::string>{
                              "!taken", "!taken", "!taken", "unplugged", "!no right", ""}),
                          1ms);
        source.start(sink);
        sink.waitFor([](const auto& seen) { return seen.states.size() == 7; });
    }
    EXPECT_THAT(sink.seen().states,
                ElementsAre("waiting: taken", "waiting: taken", "waiting: taken", "running",
                            "waiting: unplugged", "waiting: no right", "running"));
    EXPECT_EQ(log.text(), "source \"nflog:5\" waits: taken\n"
                          "source \"nflog:5\" goes on\n"
                          "source \"nflog:5\" waits: unplugged\n"
                          "source \"nflog:5\" goes on\n");
}

TEST(LiveSource, StopsAtOnceWhileItWaitsAndWhileItReads) {
    const LogCapture log;
    for (const char* script : {"!taken", ""}) {
        RecordingSink sink;
        auto source = std::make_unique<LiveSource>(
            "nflog:5", std::make_unique<ScriptedReader>(std::deque<std::string>{script}), 10min);
        source->start(sink);
        sink.waitFor([](const auto& seen) { return !seen.states.empty(); });
        source.reset(); // would take ten minutes, or for ever
    }
    LiveSource neverStarted("x", std::make_unique<ScriptedReader>(std::deque<std::string>{""}));
}

} // namespace
} // namespace brindle::tallyd
