// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/client/Requests.h"

#include "core/log/records/RecordText.h"
#include "protocol/client/ErrorText.h"
#include "protocol/client/Sinks.h"
#include "protocol/wire/ReplyEncoding.h"
#include "protocol/wire/TextTable.h"

#include <utility>

namespace brindle::client::requests {

namespace {

using Helper = wire::TallydHelperProtocol::Client;

capnp::Text::Reader text(const std::string& value) {
    return wire::wireText(value);
}

std::string dateOf(wire::MaybeEpoch::Reader date) {
    const auto epoch = wire::decodeEpoch(date);
    return epoch ? dateText(*epoch) : std::string();
}

/// Sends a request whose answer comes through a sink; `finish` gets the response once all is there.
template <typename WireRequest, typename Finish>
kj::Promise<void> sendWithSink(WireRequest request, kj::Own<Arrivals> arrivals, Finish finish) {
    auto whole = [arrivals = kj::addRef(*arrivals),
                  finish = std::move(finish)](auto response) mutable {
        auto arrived = arrivals->whenArrived(response.getBatches());
        return arrived
            .then([response = kj::mv(response), finish = std::move(finish)]() mutable {
                finish(response);
            })
            .attach(kj::mv(arrivals));
    };
    auto broken = [arrivals = kj::mv(arrivals)](kj::Exception&& error) -> kj::Promise<void> {
        return arrivals->cause(kj::mv(error));
    };
    return request.send().then(kj::mv(whole), kj::mv(broken));
}

/// The same for counts; `finish` gets them with their sequence.
template <typename WireRequest, typename Finish>
kj::Promise<void> sendForCounts(WireRequest request, Finish finish) {
    auto arrivals = kj::refcounted<Arrivals>();
    auto gathered = std::make_shared<BreakdownReply>();
    request.setSink(kj::heap<CountSinkServer>(kj::addRef(*arrivals), gathered));
    return sendWithSink(kj::mv(request), kj::mv(arrivals),
                        [gathered, finish = std::move(finish)](auto& response) {
                            gathered->sequence = response.getSequence();
                            finish(std::move(*gathered));
                        });
}

void setTexts(capnp::List<capnp::Text>::Builder list, const std::vector<std::string>& texts) {
    for (kj::uint i = 0; i < texts.size(); ++i)
        list.set(i, text(texts[i]));
}

} // namespace

Request getVersion(Reply<std::string> reply) {
    return [reply = std::move(reply)](Helper& helper) mutable {
        return helper.getVersionRequest().send().then([reply = std::move(reply)](auto response) {
            reply(wire::textOf(response.getVersion()));
        });
    };
}

Request doQueryFromEpoch(double from, double to, std::shared_ptr<QueryGate> gate,
                         RecordReply reply) {
    return [from, to, gate = std::move(gate),
            reply = std::move(reply)](Helper& helper) mutable -> kj::Promise<void> {
        auto arrivals = kj::refcounted<Arrivals>();
        auto request = helper.doQueryFromEpochRequest();
        request.setFrom(from);
        request.setTo(to);
        request.setSink(
            kj::heap<RecordSinkServer>(kj::addRef(*arrivals), gate, std::move(reply.batch)));
        return sendWithSink(kj::mv(request), kj::mv(arrivals),
                            [gate, end = std::move(reply.end)](auto&) { gate->pass(end); });
    };
}

Request getOBJcont(double epoch, std::string action, std::string direction, std::string obj,
                   Reply<CountReply> reply) {
    return [=, reply = std::move(reply)](Helper& helper) mutable {
        auto request = helper.getOBJcontRequest();
        request.setEpoch(epoch);
        request.setAction(text(action));
        request.setDirection(text(direction));
        request.setObj(text(obj));
        return sendForCounts(kj::mv(request), [reply = std::move(reply)](BreakdownReply counts) {
            reply({.entries = std::move(counts.entries), .sequence = counts.sequence});
        });
    };
}

Request startSendingLog(Done done) {
    return [done = std::move(done)](Helper& helper) mutable {
        return helper.startSendingLogRequest().send().then(
            [done = std::move(done)](auto) { done(); });
    };
}

Request stopSendingLog(Done done) {
    return [done = std::move(done)](Helper& helper) mutable {
        return helper.stopSendingLogRequest().send().then(
            [done = std::move(done)](auto) { done(); });
    };
}

Request getPORTfromIPcont(double epoch, std::string ip, std::string action, std::string direction,
                          Reply<BreakdownReply> reply) {
    return [=, reply = std::move(reply)](Helper& helper) mutable {
        auto request = helper.getPORTfromIPcontRequest();
        request.setEpoch(epoch);
        request.setIp(text(ip));
        request.setAction(text(action));
        request.setDirection(text(direction));
        return sendForCounts(kj::mv(request), std::move(reply));
    };
}

Request getIPfromPORTcont(double epoch, std::int64_t port, std::string action,
                          std::string direction, Reply<BreakdownReply> reply) {
    return [=, reply = std::move(reply)](Helper& helper) mutable {
        auto request = helper.getIPfromPORTcontRequest();
        request.setEpoch(epoch);
        request.setPort(port);
        request.setAction(text(action));
        request.setDirection(text(direction));
        return sendForCounts(kj::mv(request), std::move(reply));
    };
}

Request sendPortsArrays(std::vector<std::string> passin, std::vector<std::string> passout,
                        std::vector<std::string> blockin, std::vector<std::string> blockout,
                        Done done) {
    return [passin = std::move(passin), passout = std::move(passout), blockin = std::move(blockin),
            blockout = std::move(blockout), done = std::move(done)](Helper& helper) mutable {
        const auto size = [](const auto& list) { return static_cast<kj::uint>(list.size()); };
        auto request = helper.sendPortsArraysRequest();
        setTexts(request.initPassin(size(passin)), passin);
        setTexts(request.initPassout(size(passout)), passout);
        setTexts(request.initBlockin(size(blockin)), blockin);
        setTexts(request.initBlockout(size(blockout)), blockout);
        return request.send().then([done = std::move(done)](auto) { done(); });
    };
}

Request getOldestRecordDate(Reply<std::string> reply) {
    return [reply = std::move(reply)](Helper& helper) mutable {
        return helper.getOldestRecordDateRequest().send().then(
            [reply = std::move(reply)](auto response) { reply(dateOf(response.getDate())); });
    };
}

Request getNewestRecordDate(Reply<std::string> reply) {
    return [reply = std::move(reply)](Helper& helper) mutable {
        return helper.getNewestRecordDateRequest().send().then(
            [reply = std::move(reply)](auto response) { reply(dateOf(response.getDate())); });
    };
}

Request getRowsCount(Reply<std::string> reply) {
    return [reply = std::move(reply)](Helper& helper) mutable {
        return helper.getRowsCountRequest().send().then([reply = std::move(reply)](auto response) {
            reply(std::to_string(response.getRows()));
        });
    };
}

Request purgeLogDB(double end, Done done) {
    return [end, done = std::move(done)](Helper& helper) mutable {
        auto request = helper.purgeLogDBRequest();
        request.setEndDate(end);
        return request.send().then([done = std::move(done)](auto) { done(); });
    };
}

Request getStatus(Reply<DaemonStatus> reply) {
    return [reply = std::move(reply)](Helper& helper) mutable {
        return helper.getStatusRequest().send().then(
            [reply = std::move(reply)](auto response) -> kj::Promise<void> {
                auto status = wire::decodeStatus(response.getStatus());
                if (!status)
                    return localError("tallyd sent a malformed status");
                reply(std::move(*status));
                return kj::READY_NOW;
            });
    };
}

} // namespace brindle::client::requests
