// SPDX-License-Identifier: BSD-2-Clause
//
// The requests of the protocol, each as a function that sends it and hands its answer on. They are
// written once for asynchronous and synchronous proxies: whoever makes one decides what the
// callback does; the session that runs it decides what becomes of an error.
#pragma once

#include "protocol/TallydHelperProtocol.h"
#include "protocol/client/QueryGate.h"
#include "protocol/wire/tallyd.capnp.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <kj/async.h>
#include <kj/function.h>

namespace brindle::client {

/// Sends one request; the promise resolves after its callback has run, or fails. Called once, on
/// the delivery thread.
using Request = kj::Function<kj::Promise<void>(wire::TallydHelperProtocol::Client&)>;

using Done = std::function<void()>;
template <typename Value>
using Reply = std::function<void(Value)>;

namespace requests {

Request getVersion(Reply<std::string> reply);
/// Callbacks pass through `gate`.
Request doQueryFromEpoch(double from, double to, std::shared_ptr<QueryGate> gate,
                         RecordReply reply);
Request getOBJcont(double epoch, std::string action, std::string direction, std::string obj,
                   Reply<CountReply> reply);
Request startSendingLog(Done done);
Request stopSendingLog(Done done);
Request getPORTfromIPcont(double epoch, std::string ip, std::string action, std::string direction,
                          Reply<BreakdownReply> reply);
Request getIPfromPORTcont(double epoch, std::int64_t port, std::string action,
                          std::string direction, Reply<BreakdownReply> reply);
Request sendPortsArrays(std::vector<std::string> passin, std::vector<std::string> passout,
                        std::vector<std::string> blockin, std::vector<std::string> blockout,
                        Done done);
Request getOldestRecordDate(Reply<std::string> reply);
Request getNewestRecordDate(Reply<std::string> reply);
Request getRowsCount(Reply<std::string> reply);
Request purgeLogDB(double end, Done done);
Request getStatus(Reply<DaemonStatus> reply);

} // namespace requests

} // namespace brindle::client
