// SPDX-License-Identifier: BSD-2-Clause
#include "core/log/VDXLog.h"

#include "tests/core/support/FakeNames.h"

#include <vector>

#include <gtest/gtest.h>

namespace brindle {
namespace {

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
