// SPDX-License-Identifier: BSD-2-Clause
//
// The client's side of a connection, whatever a daemon writes. On one thread, where a connection
// has its own: waiting for each other would take most of the time.
#include "core/log/records/RecordDictionary.h"
#include "protocol/client/ErrorText.h"
#include "protocol/client/Requests.h"
#include "protocol/client/Sinks.h"
#include "protocol/wire/BufferedStream.h"
#include "tests/fuzz/Target.h"

#include <capnp/rpc-twoparty.h>
#include <kj/async-io.h>
#include <kj/io.h>
#include <sys/socket.h>

namespace {

using namespace brindle;

class TakingAgent final : public TallydAgentProtocol {
  public:
    void realTimeLogWithInfo(LiveRecordDictionary info) override {
        test::require(convertLiveRecord(info).has_value());
    }
    void sendLogUserNotificationWithInfo(std::map<std::string, std::string>) override {}
};

void takeBatch(const std::shared_ptr<const RecordBatch>& batch) {
    test::require(batch != nullptr);
    for (std::size_t row = 0; row < batch->size(); ++row)
        test::require(!recordDictionary(*batch, row).firstMissing());
}

std::vector<client::Request> allKinds() {
    using namespace client::requests;
    const auto taken = [](const auto&...) {};
    std::vector<client::Request> requests;
    requests.push_back(getVersion(taken));
    requests.push_back(startSendingLog(taken));
    requests.push_back(doQueryFromEpoch(0, 2e9, std::make_shared<client::QueryGate>(),
                                        {.batch = takeBatch, .end = [] {}}));
    requests.push_back(getOBJcont(0, "block", "in", "SRCIP", taken));
    requests.push_back(getPORTfromIPcont(0, "192.0.2.7", "block", "in", taken));
    requests.push_back(getOldestRecordDate(taken));
    requests.push_back(getRowsCount(taken));
    requests.push_back(getStatus(taken));
    return requests;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static kj::AsyncIoContext io = kj::setupAsyncIo();
    int ends[2];
    test::require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0);
    // Before the client reads any of it, and so never more than a socket holds.
    ::send(ends[1], data, size, MSG_NOSIGNAL | MSG_DONTWAIT);
    ::shutdown(ends[1], SHUT_WR);
    {
        const auto agent = std::make_shared<TakingAgent>();
        wire::BufferedStream stream(io.lowLevelProvider->wrapSocketFd(kj::AutoCloseFd(ends[0])));
        capnp::TwoPartyVatNetwork network(stream, capnp::rpc::twoparty::Side::CLIENT);
        auto rpc = capnp::makeRpcClient(network);
        capnp::MallocMessageBuilder message;
        auto server = message.initRoot<capnp::rpc::twoparty::VatId>();
        server.setSide(capnp::rpc::twoparty::Side::SERVER);
        auto connect = rpc.bootstrap(server).castAs<wire::TallydBootstrap>().connectRequest();
        connect.setAgent(kj::heap<client::AgentServer>(agent));
        auto helper = connect.send().getHelper();
        kj::Vector<kj::Promise<void>> ended;
        for (client::Request& request : allKinds())
            ended.add(
                kj::evalNow([&] { return request(helper); }).catch_([](kj::Exception&& error) {
                    const std::string why = client::describe(error);
                    test::require(why.find('\n') == why.npos);
                }));
        // As a session does: what is still under way when the connection ends has failed.
        kj::joinPromises(ended.releaseAsArray())
            .exclusiveJoin(network.onDisconnect())
            .wait(io.waitScope);
    }
    ::close(ends[1]);
    return 0;
}
