// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/server/HelperServer.h"

#include "protocol/server/Failure.h"
#include "protocol/server/QueryRun.h"
#include "protocol/wire/ReplyEncoding.h"
#include "protocol/wire/TextTable.h"

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace brindle::server {

namespace {

struct Nothing {};

/// A reply of counts, encoded on a worker.
struct EncodedCounts {
    using Part = std::pair<wire::CountList, std::unique_ptr<capnp::MallocMessageBuilder>>;
    std::vector<Part> parts;
    std::uint64_t sequence = 0;

    void add(wire::CountList list, std::span<const CountEntry> entries) {
        while (!entries.empty()) {
            const std::size_t count = std::min(entries.size(), wire::kCountBatchEntries);
            parts.emplace_back(list, wire::encodeCounts(entries.first(count)));
            entries = entries.subspan(count);
        }
    }
};

EncodedCounts encode(const CountReply& reply) {
    EncodedCounts counts{.parts = {}, .sequence = reply.sequence};
    counts.add(wire::CountList::ENTRIES, reply.entries);
    return counts;
}

EncodedCounts encode(const BreakdownReply& reply) {
    EncodedCounts counts{.parts = {}, .sequence = reply.sequence};
    counts.add(wire::CountList::ENTRIES, reply.entries);
    counts.add(wire::CountList::PIE, reply.pie);
    return counts;
}

/// Sends every kPartsUnderWay-th part from `next` on, each when the one before it was taken.
constexpr std::size_t kPartsUnderWay = 4;
kj::Promise<void> sendPartsFrom(wire::CountSink::Client sink,
                                std::shared_ptr<const EncodedCounts> counts, std::size_t next) {
    if (next >= counts->parts.size())
        return kj::READY_NOW;
    const auto& [list, message] = counts->parts[next];
    const auto entries = message->getRoot<wire::CountBatch>().asReader();
    capnp::MessageSize size = entries.totalSize();
    constexpr kj::uint kCallWords = 4;
    size.wordCount += kCallWords;
    auto request = sink.batchRequest(size);
    request.setList(list);
    request.setEntries(entries);
    return request.send().then([sink = kj::mv(sink), counts = std::move(counts), next]() mutable {
        return sendPartsFrom(kj::mv(sink), std::move(counts), next + kPartsUnderWay);
    });
}

/// A few parts are under way at once, so that the client reads one while the next is written. Calls
/// arrive, and are answered, in the order they were made: so do the parts.
kj::Promise<void> sendParts(wire::CountSink::Client sink,
                            std::shared_ptr<const EncodedCounts> counts) {
    auto sent = kj::heapArrayBuilder<kj::Promise<void>>(kPartsUnderWay);
    for (std::size_t first = 0; first < kPartsUnderWay; ++first)
        sent.add(sendPartsFrom(sink, counts, first));
    return kj::joinPromises(sent.finish());
}

} // namespace

kj::Promise<void> BootstrapServer::connect(ConnectContext context) {
    peer_->agent = context.getParams().getAgent();
    context.getResults().setHelper(kj::heap<HelperServer>(kj::addRef(*peer_)));
    return kj::READY_NOW;
}

kj::Maybe<kj::Exception> HelperServer::refusal(Right right) const {
    const PeerAccess& access = peer_->access;
    if (!access.mayRead)
        return failure(access.refusal);
    if (right == Right::manage && !access.mayManage)
        return failure(access.manageRefusal);
    if (peer_->requests >= peer_->context.limits.requestsPerConnection)
        return failure("too many requests at once on this connection");
    return nullptr;
}

template <typename Context, typename Ask, typename Reply>
kj::Promise<void> HelperServer::answer(Context& context, Right right, Ask ask, Reply reply) {
    context.allowCancellation();
    KJ_IF_MAYBE (refused, refusal(right))
        return kj::mv(*refused);
    context.releaseParams();
    return peer_->context.workers.ask(std::move(ask))
        .then([context, reply, peer = kj::addRef(*peer_), counted = Counted(peer_->requests)](
                  auto result) mutable { reply(context, *result); });
}

template <typename Context, typename Ask>
kj::Promise<void> HelperServer::answerCounts(Context context, wire::CountSink::Client sink,
                                             Ask ask) {
    context.allowCancellation();
    KJ_IF_MAYBE (refused, refusal(Right::read))
        return kj::mv(*refused);
    context.releaseParams();
    auto encoded = peer_->context.workers.ask(
        [ask = std::move(ask)] { return ask().map([](const auto& r) { return encode(r); }); });
    return encoded.then([context, sink = kj::mv(sink), peer = kj::addRef(*peer_),
                         counted = Counted(peer_->requests)](auto result) mutable {
        auto counts = std::make_shared<const EncodedCounts>(std::move(*result));
        return sendParts(kj::mv(sink), counts)
            .then([context, counts, peer = kj::mv(peer), counted = std::move(counted)]() mutable {
                auto results = context.getResults();
                results.setBatches(static_cast<std::uint32_t>(counts->parts.size()));
                results.setSequence(counts->sequence);
            });
    });
}

kj::Promise<void> HelperServer::getVersion(GetVersionContext context) {
    return answer(
        context, Right::read,
        [&service = service()]() -> tl::expected<std::string, std::string> {
            return service.version();
        },
        [](GetVersionContext& reply, const std::string& version) {
            reply.getResults().setVersion(wire::wireText(version));
        });
}

kj::Promise<void> HelperServer::doQueryFromEpoch(DoQueryFromEpochContext context) {
    context.allowCancellation();
    KJ_IF_MAYBE (refused, refusal(Right::read))
        return kj::mv(*refused);
    if (peer_->queries >= peer_->context.limits.queriesPerConnection)
        return failure("too many log queries at once on this connection");
    const auto params = context.getParams();
    auto query = kj::heap<QueryRun>(service(), peer_->context.workers, params.getFrom(),
                                    params.getTo(), params.getSink());
    context.releaseParams();
    auto whole = query->run();
    return whole
        .then(
            [context](std::uint32_t batches) mutable { context.getResults().setBatches(batches); })
        .attach(kj::mv(query), Counted(peer_->requests), Counted(peer_->queries))
        .attach(kj::addRef(*peer_));
}

kj::Promise<void> HelperServer::getOBJcont(GetOBJcontContext context) {
    const auto params = context.getParams();
    return answerCounts(context, params.getSink(),
                        [&service = service(), epoch = params.getEpoch(),
                         action = actionFromText(wire::textOf(params.getAction())),
                         direction = directionFromText(wire::textOf(params.getDirection())),
                         obj = wire::textOf(params.getObj())] {
                            return service.countObjects(epoch, action, direction, obj);
                        });
}

kj::Promise<void> HelperServer::startSendingLog(StartSendingLogContext context) {
    context.allowCancellation();
    KJ_IF_MAYBE (refused, refusal(Right::read))
        return kj::mv(*refused);
    KJ_IF_MAYBE (agent, peer_->agent)
        peer_->live.start(*agent);
    return kj::READY_NOW;
}

kj::Promise<void> HelperServer::stopSendingLog(StopSendingLogContext context) {
    context.allowCancellation();
    KJ_IF_MAYBE (refused, refusal(Right::read))
        return kj::mv(*refused);
    peer_->live.stop();
    return kj::READY_NOW;
}

kj::Promise<void> HelperServer::getPORTfromIPcont(GetPORTfromIPcontContext context) {
    const auto params = context.getParams();
    return answerCounts(context, params.getSink(),
                        [&service = service(), epoch = params.getEpoch(),
                         ip = wire::textOf(params.getIp()),
                         action = actionFromText(wire::textOf(params.getAction())),
                         direction = directionFromText(wire::textOf(params.getDirection()))] {
                            return service.portsFromIp(epoch, ip, action, direction);
                        });
}

kj::Promise<void> HelperServer::getIPfromPORTcont(GetIPfromPORTcontContext context) {
    const auto params = context.getParams();
    return answerCounts(context, params.getSink(),
                        [&service = service(), epoch = params.getEpoch(), port = params.getPort(),
                         action = actionFromText(wire::textOf(params.getAction())),
                         direction = directionFromText(wire::textOf(params.getDirection()))] {
                            return service.ipsFromPort(epoch, port, action, direction);
                        });
}

kj::Promise<void> HelperServer::sendPortsArrays(SendPortsArraysContext context) {
    context.allowCancellation();
    KJ_IF_MAYBE (refused, refusal(Right::manage))
        return kj::mv(*refused);
    return kj::READY_NOW; // accepted: the daemon has no use for them
}

kj::Promise<void> HelperServer::getOldestRecordDate(GetOldestRecordDateContext context) {
    return answer(
        context, Right::read, [&service = service()] { return service.oldestRecord(); },
        [](GetOldestRecordDateContext& reply, const std::optional<double>& epoch) {
            wire::encodeEpoch(epoch, reply.getResults().initDate());
        });
}

kj::Promise<void> HelperServer::getNewestRecordDate(GetNewestRecordDateContext context) {
    return answer(
        context, Right::read, [&service = service()] { return service.newestRecord(); },
        [](GetNewestRecordDateContext& reply, const std::optional<double>& epoch) {
            wire::encodeEpoch(epoch, reply.getResults().initDate());
        });
}

kj::Promise<void> HelperServer::getRowsCount(GetRowsCountContext context) {
    return answer(
        context, Right::read, [&service = service()] { return service.rowsCount(); },
        [](GetRowsCountContext& reply, std::uint64_t rows) { reply.getResults().setRows(rows); });
}

kj::Promise<void> HelperServer::purgeLogDB(PurgeLogDBContext context) {
    return answer(
        context, Right::manage,
        [&service = service(), end = context.getParams().getEndDate()] {
            return service.purgeBefore(end).map([] { return Nothing(); });
        },
        [](PurgeLogDBContext&, Nothing) {});
}

kj::Promise<void> HelperServer::getStatus(GetStatusContext context) {
    return answer(
        context, Right::read, [&service = service()] { return service.status(); },
        [&shared = peer_->context](GetStatusContext& reply, DaemonStatus& status) {
            status.clients = shared.clients;
            status.liveClients = shared.liveClients;
            status.liveLost = shared.liveLost;
            wire::encodeStatus(status, reply.getResults().initStatus());
        });
}

} // namespace brindle::server
