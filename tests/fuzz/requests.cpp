// SPDX-License-Identifier: BSD-2-Clause
//
// The server's side of a connection: whatever a client writes, the server goes on, and closes the
// connection once the client has.
#include "protocol/TallydServer.h"
#include "tests/fuzz/Target.h"

#include <memory>
#include <string>

#include <sys/socket.h>

namespace {

using namespace brindle;

/// Answers everything with little.
class SmallService final : public DaemonService {
  public:
    std::string version() const override { return "0"; }
    tl::expected<std::unique_ptr<RecordCursor>, std::string> openQuery(double, double) override {
        struct Nothing final : RecordCursor {
            tl::expected<std::shared_ptr<const RecordBatch>, std::string> next() override {
                return nullptr;
            }
        };
        return std::make_unique<Nothing>();
    }
    tl::expected<CountReply, std::string> countObjects(double, Action, Direction,
                                                       const std::string&) override {
        return CountReply{};
    }
    tl::expected<BreakdownReply, std::string> portsFromIp(double, const std::string&, Action,
                                                          Direction) override {
        return BreakdownReply{};
    }
    tl::expected<BreakdownReply, std::string> ipsFromPort(double, std::int64_t, Action,
                                                          Direction) override {
        return BreakdownReply{};
    }
    tl::expected<std::optional<double>, std::string> oldestRecord() override { return 1.0; }
    tl::expected<std::optional<double>, std::string> newestRecord() override { return 2.0; }
    tl::expected<std::uint64_t, std::string> rowsCount() override { return 2; }
    tl::expected<void, std::string> purgeBefore(double) override { return {}; }
    tl::expected<DaemonStatus, std::string> status() override { return DaemonStatus{}; }
};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static SmallService service;
    static const std::unique_ptr<TallydServer> server = makeTallydServer(service);
    int ends[2];
    test::require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0);
    server->accept(ends[0],
                   {.mayRead = true, .mayManage = true, .refusal = {}, .manageRefusal = {}});
    test::require(::send(ends[1], data, size, MSG_NOSIGNAL) >= 0 || errno == EPIPE ||
                  errno == ECONNRESET);
    ::shutdown(ends[1], SHUT_WR);
    // Until the server closes: it has then read everything.
    char answer[4096];
    while (::recv(ends[1], answer, sizeof answer, 0) > 0) {
    }
    ::close(ends[1]);
    return 0;
}
