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

constexpr const char* kNoCounts = "not yet: counts are not kept by this version";

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

tl::expected<CountReply, std::string> TallydService::countObjects(double epoch, Action, Direction,
                                                                  const std::string& obj) {
    if (const auto time = finiteTime("the epoch", epoch); !time)
        return tl::unexpected(time.error());
    if (obj != "SRCIP" && obj != "DSTIP" && obj != "DSTPORT")
        return tl::unexpected(
            fmt::format("cannot count {}: SRCIP, DSTIP and DSTPORT are counted", quoted(obj)));
    return tl::unexpected(std::string(kNoCounts));
}

tl::expected<BreakdownReply, std::string>
TallydService::portsFromIp(double epoch, const std::string& ip, Action, Direction) {
    if (const auto time = finiteTime("the epoch", epoch); !time)
        return tl::unexpected(time.error());
    if (!IpAddress::parse(ip))
        return tl::unexpected(fmt::format("{} is no address", quoted(ip)));
    return tl::unexpected(std::string(kNoCounts));
}

tl::expected<BreakdownReply, std::string>
TallydService::ipsFromPort(double epoch, std::int64_t port, Action, Direction) {
    if (const auto time = finiteTime("the epoch", epoch); !time)
        return tl::unexpected(time.error());
    if (port < 0 || port > 65535)
        return tl::unexpected(fmt::format("{} is no port: ports are 0 to 65535", port));
    return tl::unexpected(std::string(kNoCounts));
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
