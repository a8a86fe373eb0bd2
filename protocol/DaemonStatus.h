// SPDX-License-Identifier: BSD-2-Clause
//
// How the daemon is doing, at one moment. Received = stored + lost, for every source.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace brindle {

struct SourceStatus {
    std::string name;           ///< as configured, "replay:/path@10"
    std::string state;          ///< "running", "ended", or why it waits
    std::uint64_t received = 0; ///< records and undecodable input since the daemon started
    std::uint64_t stored = 0;
    std::map<std::string, std::uint64_t> lost; ///< by reason
};

struct DaemonStatus {
    std::uint64_t received = 0;
    std::uint64_t stored = 0;                  ///< since the daemon started
    std::map<std::string, std::uint64_t> lost; ///< by reason, all sources
    std::uint64_t rows = 0;                    ///< in the store now
    std::uint64_t storeBytes = 0;              ///< of the store's files
    std::optional<double> oldest;              ///< epochs; nothing when the store is empty
    std::optional<double> newest;
    std::uint64_t clients = 0;     ///< connected now
    std::uint64_t liveClients = 0; ///< of them, asking for the stream
    std::uint64_t liveLost = 0;    ///< records that slow live clients did not get
    std::vector<SourceStatus> sources;
};

} // namespace brindle
