// SPDX-License-Identifier: BSD-2-Clause
#include "core/log/VDXLog.h"

#include <map>
#include <vector>

#include <gtest/gtest.h>

namespace brindle {
namespace {

using platform::HostLookup;
using platform::HostResolver;
using platform::SocketAddress;
using platform::StreamError;

/// Keeps look-ups until the test answers them.
class FakeResolver : public HostResolver {
  public:
    struct Lookup : HostLookup {
        explicit Lookup(FakeResolver& r) : resolver(r) { ++resolver.running; }
        ~Lookup() override { --resolver.running; }
        FakeResolver& resolver;
    };
    tl::expected<std::unique_ptr<HostLookup>, StreamError>
    startNames(const SocketAddress& address, Completion completion) override {
        if (refuse)
            return tl::unexpected(StreamError{StreamError::Domain::posix, 101});
        for (const auto& [name, bytes] : known)
            if (bytes == address)
                completions.emplace(name, std::move(completion));
        return std::make_unique<Lookup>(*this);
    }
    void answer(const std::string& ip, std::vector<std::string> names) {
        take(ip)(std::nullopt, std::move(names));
    }
    void fail(const std::string& ip) {
        take(ip)(StreamError{StreamError::Domain::netDatabase, -2}, {});
    }
    Completion take(const std::string& ip) {
        const auto found = completions.find(ip);
        Completion completion = std::move(found->second);
        completions.erase(found);
        return completion;
    }

    bool refuse = false;
    int running = 0;
    std::map<std::string, SocketAddress> known;
    std::multimap<std::string, Completion> completions;
};

/// A clock that the test moves.
class FakeTimers : public platform::TimerService {
  public:
    struct State {
        double due = 0;
        platform::Task handler;
        bool running = true;
    };
    struct Handle : platform::Timer {
        explicit Handle(std::shared_ptr<State> s) : state(std::move(s)) {}
        ~Handle() override { state->running = false; }
        void invalidate() override { state->running = false; }
        bool isRunning() const override { return state->running; }
        std::shared_ptr<State> state;
    };
    std::unique_ptr<platform::Timer> after(double seconds, platform::Task handler) override {
        states.push_back(std::make_shared<State>(State{now + seconds, std::move(handler), true}));
        return std::make_unique<Handle>(states.back());
    }
    void advance(double seconds) {
        now += seconds;
        for (std::size_t i = 0; i < states.size(); ++i)
            if (states[i]->running && states[i]->due <= now) {
                states[i]->running = false;
                states[i]->handler();
            }
    }
    double now = 0;
    std::vector<std::shared_ptr<State>> states;
};

class LogReverseTest : public testing::Test {
  protected:
    LogReverseTest() {
        for (const char* ip : {"192.0.2.7", "198.51.100.1"})
            resolver.known[ip] = *platform::socketAddressData(ip);
    }
    VDXLog row(const std::string& srcip = "192.0.2.7") {
        RecordDictionary record;
        for (int i = 0; i < static_cast<int>(RecordKey::count); ++i)
            record.set(static_cast<RecordKey>(i), "0");
        record.set(RecordKey::srcip, srcip);
        record.set(RecordKey::dstip, "198.51.100.1");
        return VDXLog::fromDictionary(record, tables).value();
    }
    void reverse(VDXLog& log) {
        log.reverse({&resolver, &timers}, kNameDeadlineSeconds, [this] { ++changes; });
    }

    LogTables tables{[](std::uint32_t) { return std::string(); }};
    FakeResolver resolver;
    FakeTimers timers;
    int changes = 0;
};

TEST_F(LogReverseTest, FirstNameReplacesTheShownAddressOnly) {
    VDXLog log = row();
    reverse(log);
    EXPECT_TRUE(log.hasBeenReversed());
    EXPECT_EQ(resolver.running, 2);
    resolver.answer("192.0.2.7", {"first.example", "second.example"});
    EXPECT_EQ(log.text(LogField::addresssrcip), "first.example");
    EXPECT_EQ(log.text(LogField::srcip), "192.0.2.7");
    EXPECT_EQ(log.text(LogField::addressdstip), "198.51.100.1");
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(resolver.running, 1);
}

TEST_F(LogReverseTest, SilentFieldIsGivenUpAfterItsDeadlineAndMayBeTriedAgain) {
    VDXLog log = row();
    reverse(log);
    resolver.answer("192.0.2.7", {"first.example"});
    timers.advance(9.9);
    EXPECT_TRUE(log.hasBeenReversed());
    timers.advance(0.2);
    EXPECT_FALSE(log.hasBeenReversed());
    EXPECT_EQ(resolver.running, 0);
    EXPECT_EQ(log.text(LogField::addresssrcip), "first.example");
    EXPECT_EQ(log.text(LogField::addressdstip), "198.51.100.1");

    resolver.completions.clear();
    reverse(log);
    resolver.answer("198.51.100.1", {"other.example"});
    EXPECT_EQ(log.text(LogField::addressdstip), "other.example");
}

TEST_F(LogReverseTest, FailedFieldsStayNumericAndTheirDeadlinesDoNotFire) {
    VDXLog log = row();
    reverse(log);
    resolver.fail("192.0.2.7");
    resolver.fail("198.51.100.1");
    EXPECT_EQ(resolver.running, 0);
    timers.advance(20);
    EXPECT_TRUE(log.hasBeenReversed()) << "an answer was had: not eligible again";
    EXPECT_EQ(log.text(LogField::addresssrcip), "192.0.2.7");
    EXPECT_EQ(changes, 0);
}

TEST_F(LogReverseTest, LookUpsThatCannotStartFailAtOnce) {
    resolver.refuse = true;
    VDXLog log = row();
    reverse(log);
    timers.advance(20);
    EXPECT_TRUE(log.hasBeenReversed());
    EXPECT_EQ(changes, 0);
}

TEST_F(LogReverseTest, EmptyFirstNameCountsAsNoAnswer) {
    VDXLog log = row();
    reverse(log);
    resolver.answer("192.0.2.7", {"", "second.example"});
    resolver.fail("198.51.100.1");
    EXPECT_EQ(log.text(LogField::addresssrcip), "192.0.2.7");
    EXPECT_TRUE(log.hasBeenReversed());
    timers.advance(10);
    EXPECT_FALSE(log.hasBeenReversed());
}

TEST_F(LogReverseTest, TextThatIsNoAddressIsNotAskedForButTimesOut) {
    VDXLog log = row("gateway");
    reverse(log);
    EXPECT_EQ(resolver.running, 1);
    resolver.answer("198.51.100.1", {"other.example"});
    EXPECT_TRUE(log.hasBeenReversed());
    timers.advance(10);
    EXPECT_FALSE(log.hasBeenReversed());
}

TEST_F(LogReverseTest, RecordThatWentAwayIsNotCalledBack) {
    {
        VDXLog log = row();
        reverse(log);
    }
    EXPECT_EQ(resolver.running, 0) << "look-ups that nobody wants go on";
    resolver.answer("192.0.2.7", {"first.example"});
    timers.advance(20);
    EXPECT_EQ(changes, 0);
}

TEST_F(LogReverseTest, RecordsOfOneAddressRunTheirOwnQueries) {
    VDXLog first = row();
    VDXLog second = row();
    reverse(first);
    reverse(second);
    EXPECT_EQ(resolver.completions.count("192.0.2.7"), 2u);
    resolver.answer("192.0.2.7", {"first.example"});
    EXPECT_EQ(first.text(LogField::addresssrcip), "first.example");
    EXPECT_EQ(second.text(LogField::addresssrcip), "192.0.2.7");
}

} // namespace
} // namespace brindle
