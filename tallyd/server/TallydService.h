// SPDX-License-Identifier: BSD-2-Clause
//
// What the daemon answers: checks and bounds the arguments of each request, then asks the store's
// reader, or the intake for what the reader cannot know. Made by tallyd's main, asked by the
// server's workers, from several of them at once.
//
//     TallydService service(store.reader(), {.purge = ..., .intakeStatus = ...}, "0.1.0");
//     auto server = makeTallydServer(service);
#pragma once

#include "protocol/TallydServer.h"
#include "tallyd/records/RecordReader.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <tl/expected.hpp>

namespace brindle::tallyd {

/// What the store's reader does not do. Both are called from several workers at once.
struct ServiceHooks {
    /// Removes the records before `end` (seconds since 1970, finite); returns once they are gone.
    std::function<tl::expected<void, std::string>(double end)> purge;
    /// Received, stored, lost and the sources. What the store itself holds (rows, bytes, oldest,
    /// newest) is filled in from the reader.
    std::function<DaemonStatus()> intakeStatus;
};

class TallydService final : public DaemonService {
  public:
    /// `reader` outlives the service. `version` answers getVersion.
    TallydService(RecordReader& reader, ServiceHooks hooks, std::string version);

    std::string version() const override;
    tl::expected<std::unique_ptr<RecordCursor>, std::string> openQuery(double from,
                                                                       double to) override;
    tl::expected<CountReply, std::string>
    countObjects(double epoch, Action action, Direction direction, const std::string& obj) override;
    tl::expected<BreakdownReply, std::string>
    portsFromIp(double epoch, const std::string& ip, Action action, Direction direction) override;
    tl::expected<BreakdownReply, std::string>
    ipsFromPort(double epoch, std::int64_t port, Action action, Direction direction) override;
    tl::expected<std::optional<double>, std::string> oldestRecord() override;
    tl::expected<std::optional<double>, std::string> newestRecord() override;
    tl::expected<std::uint64_t, std::string> rowsCount() override;
    tl::expected<void, std::string> purgeBefore(double end) override;
    tl::expected<DaemonStatus, std::string> status() override;

  private:
    tl::expected<BreakdownReply, std::string> breakdown(double epoch,
                                                        const TallyQuestion& question);

    RecordReader& reader_;
    ServiceHooks hooks_;
    std::string version_;
};

} // namespace brindle::tallyd
