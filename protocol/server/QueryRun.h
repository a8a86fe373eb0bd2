// SPDX-License-Identifier: BSD-2-Clause
//
// One log query under way: workers pull pages from the service's cursor and encode them, the loop
// sends them to the client's sink, one page ahead of it at the most. Lives on the loop thread;
// destroying it abandons the query, and the cursor goes at once or as soon as the worker that uses
// it returns.
#pragma once

#include "protocol/TallydServer.h"
#include "protocol/server/Workers.h"
#include "protocol/wire/tallyd.capnp.h"

#include <cstdint>
#include <memory>
#include <string>

#include <capnp/message.h>
#include <kj/async.h>

namespace brindle::server {

class QueryRun {
  public:
    QueryRun(DaemonService& service, Workers& workers, double from, double to,
             wire::RecordSink::Client sink);
    ~QueryRun();

    /// Resolves to the number of batches sent once the answer is whole. Call once.
    kj::Promise<std::uint32_t> run();

  private:
    class Pages;
    /// Null at the end.
    using Page = std::unique_ptr<capnp::MallocMessageBuilder>;
    using PageAnswer = tl::expected<Page, std::string>;

    kj::Promise<kj::Own<Page>> fetch();
    kj::Promise<void> sendFrom(kj::Promise<kj::Own<Page>> page);

    Workers& workers_;
    wire::RecordSink::Client sink_;
    std::shared_ptr<Pages> pages_;
    std::uint32_t batches_ = 0;
};

} // namespace brindle::server
