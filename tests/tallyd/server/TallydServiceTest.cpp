// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/server/TallydService.h"

#include <cmath>
#include <limits>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

using namespace brindle;
using namespace brindle::tallyd;

namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

struct FakeReader final : RecordReader {
    struct Nothing final : RecordCursor {
        tl::expected<std::shared_ptr<const RecordBatch>, std::string> next() override {
            return nullptr;
        }
    };
    tl::expected<std::unique_ptr<RecordCursor>, std::string>
    openCursor(std::int64_t fromMicros, std::int64_t toMicros) override {
        periods.emplace_back(fromMicros, toMicros);
        return std::make_unique<Nothing>();
    }
    tl::expected<CountReply, std::string> count(std::int64_t fromMicros,
                                                const TallyQuestion& question) override {
        questions.push_back(fmt::format(
            "{} {}{} {}{}", fromMicros, actionText(question.action),
            directionText(question.direction), static_cast<int>(question.of),
            question.of == TallyQuestion::Of::portsOfAddress    ? " " + question.address.text()
            : question.of == TallyQuestion::Of::addressesOfPort ? fmt::format(" {}", question.port)
                                                                : ""));
        return CountReply{.entries = {{.label = "443", .value = 2, .isPort = true}}, .sequence = 7};
    }
    tl::expected<StoreFigures, std::string> figures() override { return answer; }

    std::vector<std::string> questions;

    std::vector<std::pair<std::int64_t, std::int64_t>> periods;
    tl::expected<StoreFigures, std::string> answer = StoreFigures();
};

class Service : public testing::Test {
  protected:
    FakeReader reader;
    std::vector<double> purged;
    DaemonStatus intake;
    TallydService service{reader,
                          {.purge = [this](double end) -> tl::expected<void, std::string> {
                               purged.push_back(end);
                               return {};
                           },
                           .intakeStatus = [this] { return intake; }},
                          "0.1.0"};
};

} // namespace

TEST_F(Service, periodsReachTheStoreInMicrosecondsWithBothBounds) {
    using Micros = std::int64_t;
    constexpr Micros kLeast = std::numeric_limits<Micros>::min();
    constexpr Micros kMost = std::numeric_limits<Micros>::max();
    struct Case {
        double from, to;
        std::vector<std::pair<Micros, Micros>> asked;
    };
    const Case cases[]{
        {1.5, 2.25, {{1500000, 2250000}}},
        {0.1, 0.1, {{100000, 100000}}},
        {1700000000.000001, 1700000000.000002, {{1700000000000001, 1700000000000002}}},
        {-1e300, 1e300, {{kLeast, kMost}}},
        {-kInfinity, kInfinity, {{kLeast, kMost}}},
        {2, 1, {}},
        {kInfinity, -kInfinity, {}}};
    for (const Case& one : cases) {
        reader.periods.clear();
        const auto cursor = service.openQuery(one.from, one.to);
        ASSERT_TRUE(cursor) << cursor.error();
        EXPECT_EQ(cursor->get()->next().value(), nullptr);
        EXPECT_EQ(reader.periods, one.asked) << one.from << " to " << one.to;
    }
    EXPECT_EQ(service.openQuery(kNan, 1).error(), "the period is not one: from nan to 1");
    EXPECT_EQ(service.openQuery(0, kNan).error(), "the period is not one: from 0 to nan");
}

TEST_F(Service, argumentsThatMakeNoSenseAreNamedAndReachNobody) {
    const auto count = [this](double epoch, const std::string& obj) {
        return service.countObjects(epoch, Action::pass, Direction::in, obj).error();
    };
    const auto ports = [this](const std::string& ip) {
        return service.portsFromIp(1, ip, Action::pass, Direction::in).error();
    };
    const auto ips = [this](std::int64_t port) {
        return service.ipsFromPort(1, port, Action::pass, Direction::in).error();
    };
    EXPECT_EQ(count(kNan, "SRCIP"), "the epoch is not a time: nan");
    EXPECT_EQ(count(-kInfinity, "SRCIP"), "the epoch is not a time: -inf");
    EXPECT_EQ(count(1, "SRC\nPORT"),
              "cannot count \"SRC?PORT\": SRCIP, DSTIP and DSTPORT are counted");
    EXPECT_EQ(count(1, std::string(1000, 'x')), "cannot count \"" + std::string(64, 'x') +
                                                    "...\": SRCIP, DSTIP and DSTPORT are counted");
    EXPECT_EQ(ports("192.0.2"), "\"192.0.2\" is no address");
    EXPECT_EQ(ports(""), "\"\" is no address");
    EXPECT_EQ(ips(-1), "-1 is no port: ports are 0 to 65535");
    EXPECT_EQ(ips(65536), "65536 is no port: ports are 0 to 65535");
    EXPECT_TRUE(reader.questions.empty());
    EXPECT_EQ(service.purgeBefore(kInfinity).error(), "the end date is not a time: inf");
    EXPECT_EQ(purged, std::vector<double>{});
    EXPECT_TRUE(service.purgeBefore(12.5));
    EXPECT_EQ(purged, std::vector<double>{12.5});
}

TEST_F(Service, countsAreAskedOfTheStoreForTheFieldAddressOrPort) {
    EXPECT_EQ(service.countObjects(1.5, Action::pass, Direction::in, "SRCIP")->sequence, 7u);
    EXPECT_TRUE(service.countObjects(0, Action::block, Direction::out, "DSTIP"));
    EXPECT_TRUE(service.countObjects(-1, Action::block, Direction::in, "DSTPORT"));
    const auto breakdown = service.portsFromIp(1, "2001:DB8::1", Action::pass, Direction::out);
    EXPECT_EQ(breakdown->entries, breakdown->pie);
    EXPECT_EQ(breakdown->entries.at(0).label, "443");
    EXPECT_EQ(breakdown->sequence, 7u);
    EXPECT_TRUE(service.ipsFromPort(1, 0, Action::block, Direction::in));
    EXPECT_TRUE(service.ipsFromPort(1, 65535, Action::block, Direction::in));
    EXPECT_EQ(reader.questions,
              (std::vector<std::string>{"1500000 passin 0", "0 blockout 1", "-1000000 blockin 2",
                                        "1000000 passout 3 2001:db8::1", "1000000 blockin 4 0",
                                        "1000000 blockin 4 65535"}));
}

TEST_F(Service, figuresComeFromTheStoreAndTheIntake) {
    EXPECT_EQ(service.oldestRecord().value(), std::nullopt);
    EXPECT_EQ(service.rowsCount().value(), 0u);
    reader.answer = StoreFigures{
        .rows = 3, .bytes = 4096, .oldest = 1500000, .newest = 1700000000250000, .lastSequence = 9};
    intake = {.received = 10,
              .stored = 3,
              .lost = {{"cut short", 7}},
              .rows = 1,
              .storeBytes = 1,
              .oldest = 1,
              .newest = 1,
              .sources = {{"replay:/a", "ended", 10, 3, {}}}};
    EXPECT_EQ(service.oldestRecord().value(), 1.5);
    EXPECT_EQ(service.newestRecord().value(), 1700000000.25);
    EXPECT_EQ(service.rowsCount().value(), 3u);
    const DaemonStatus status = service.status().value();
    EXPECT_EQ(status.received, 10u);
    EXPECT_EQ(status.stored, 3u);
    EXPECT_EQ(status.lost, intake.lost);
    EXPECT_EQ(status.rows, 3u);
    EXPECT_EQ(status.storeBytes, 4096u);
    EXPECT_EQ(status.oldest, 1.5);
    EXPECT_EQ(status.newest, 1700000000.25);
    EXPECT_EQ(status.sources.size(), 1u);
    EXPECT_EQ(service.version(), "0.1.0");
    reader.answer = tl::unexpected(std::string("the store is gone"));
    EXPECT_EQ(service.status().error(), "the store is gone");
    EXPECT_EQ(service.rowsCount().error(), "the store is gone");
    EXPECT_EQ(service.newestRecord().error(), "the store is gone");
}
