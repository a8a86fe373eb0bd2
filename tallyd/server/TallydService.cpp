// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/server/TallydService.h"

#include "core/log/records/RecordText.h"
#include "core/net/IpAddress.h"

#include <cmath>
#include <utility>

#include <fmt/format.h>

namespace brindle::tallyd {

namespace {

using Check = tl::expected<void, std::string>;

Check finiteTime(const char* name, double epoch) {
    if (std::isfinite(epoch))
        return {};
    return tl::unexpected(fmt::format("{} is not a time: {}", name, epoch));
}

/// Text from a peer as it may stand in an error line: short, and without control characters.
std::string quoted(const std::string& text) {
    constexpr std::size_t kLongest = 64;
    std::string shown = text.substr(0, kLongest);
    for (char& c : shown)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            c = '?';
    return "\"" + shown + (text.size() > kLongest ? "...\"" : "\"");
}

std::optional<double> epochOf(const std::optional<std::int64_t>& micros) {
    return micros ? std::optional(epochFromMicros(*micros)) : std::nullopt;
}

/// A query that has nothing to read.
class EmptyCursor final : public RecordCursor {
  public:
    tl::expected<std::shared_ptr<const RecordBatch>, std::string> next() override {
        return nullptr;
    }
};

} // namespace

TallydService::TallydService(RecordReader& reader, ServiceHooks hooks, std::string version)
    : reader_(reader), hooks_(std::move(hooks)), version_(std::move(version)) {}

std::string TallydService::version() const {
    return version_;
}

tl::expected<std::unique_ptr<RecordCursor>, std::string> TallydService::openQuery(double from,
                                                                                  double to) {
    // Without end on either side is a fair question; not-a-number is none.
    if (std::isnan(from) || std::isnan(to))
        return tl::unexpected(fmt::format("the period is not one: from {} to {}", from, to));
    if (from > to)
        return std::make_unique<EmptyCursor>();
    return reader_.openCursor(microsFromEpoch(from), microsFromEpoch(to));
}

tl::expected<CountReply, std::string> TallydService::countObjects(double epoch, Action action,
                                                                  Direction direction,
                                                                  const std::string& obj) {
    if (const auto time = finiteTime("the epoch", epoch); !time)
        return tl::unexpected(time.error());
    TallyQuestion question{.action = action, .direction = direction};
    if (obj == "SRCIP")
        question.of = TallyQuestion::Of::sources;
    else if (obj == "DSTIP")
        question.of = TallyQuestion::Of::destinations;
    else if (obj == "DSTPORT")
        question.of = TallyQuestion::Of::ports;
    else
        return tl::unexpected(
            fmt::format("cannot count {}: SRCIP, DSTIP and DSTPORT are counted", quoted(obj)));
    return reader_.count(microsFromEpoch(epoch), question);
}

tl::expected<BreakdownReply, std::string> TallydService::portsFromIp(double epoch,
                                                                     const std::string& ip,
                                                                     Action action,
                                                                     Direction direction) {
    if (const auto time = finiteTime("the epoch", epoch); !time)
        return tl::unexpected(time.error());
    const auto address = IpAddress::parse(ip);
    if (!address)
        return tl::unexpected(fmt::format("{} is no address", quoted(ip)));
    return breakdown(epoch, {.of = TallyQuestion::Of::portsOfAddress,
                             .action = action,
                             .direction = direction,
                             .address = *address});
}

tl::expected<BreakdownReply, std::string>
TallydService::ipsFromPort(double epoch, std::int64_t port, Action action, Direction direction) {
    if (const auto time = finiteTime("the epoch", epoch); !time)
        return tl::unexpected(time.error());
    if (port < 0 || port > 65535)
        return tl::unexpected(fmt::format("{} is no port: ports are 0 to 65535", port));
    return breakdown(epoch, {.of = TallyQuestion::Of::addressesOfPort,
                             .action = action,
                             .direction = direction,
                             .port = static_cast<std::uint16_t>(port)});
}

tl::expected<BreakdownReply, std::string> TallydService::breakdown(double epoch,
                                                                   const TallyQuestion& question) {
    return reader_.count(microsFromEpoch(epoch), question).map([](CountReply reply) {
        return BreakdownReply{
            .entries = reply.entries, .pie = std::move(reply.entries), .sequence = reply.sequence};
    });
}

tl::expected<std::optional<double>, std::string> TallydService::oldestRecord() {
    return reader_.figures().map([](const StoreFigures& store) { return epochOf(store.oldest); });
}

tl::expected<std::optional<double>, std::string> TallydService::newestRecord() {
    return reader_.figures().map([](const StoreFigures& store) { return epochOf(store.newest); });
}

tl::expected<std::uint64_t, std::string> TallydService::rowsCount() {
    return reader_.figures().map([](const StoreFigures& store) { return store.rows; });
}

tl::expected<void, std::string> TallydService::purgeBefore(double end) {
    if (const auto time = finiteTime("the end date", end); !time)
        return time;
    return hooks_.purge(end);
}

tl::expected<DaemonStatus, std::string> TallydService::status() {
    return reader_.figures().map([this](const StoreFigures& store) {
        DaemonStatus status = hooks_.intakeStatus();
        status.rows = store.rows;
        status.storeBytes = store.bytes;
        status.oldest = epochOf(store.oldest);
        status.newest = epochOf(store.newest);
        return status;
    });
}

} // namespace brindle::tallyd
