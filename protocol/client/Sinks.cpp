// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/client/Sinks.h"

#include "protocol/client/ErrorText.h"
#include "protocol/wire/RecordEncoding.h"
#include "protocol/wire/ReplyEncoding.h"
#include "protocol/wire/TextTable.h"

#include <map>
#include <string>
#include <utility>

namespace brindle::client {

namespace {
constexpr kj::uint kMostInfo = 1000;
}

void Arrivals::count() {
    ++arrived_;
    check();
}

void Arrivals::fail(const kj::Exception& error) {
    if (error_ == nullptr)
        error_ = kj::cp(error);
    check();
}

kj::Promise<void> Arrivals::whenArrived(std::uint32_t batches) {
    expected_ = batches;
    auto pair = kj::newPromiseAndFulfiller<void>();
    waiting_ = kj::mv(pair.fulfiller);
    check();
    return kj::mv(pair.promise);
}

kj::Exception Arrivals::cause(kj::Exception error) const {
    KJ_IF_MAYBE (own, error_)
        return kj::cp(*own);
    return error;
}

void Arrivals::check() {
    KJ_IF_MAYBE (waiting, waiting_) {
        KJ_IF_MAYBE (error, error_)
            (*waiting)->reject(kj::cp(*error));
        else if (arrived_ >= KJ_ASSERT_NONNULL(expected_))
            (*waiting)->fulfill();
    }
}

kj::Promise<void> RecordSinkServer::batch(BatchContext context) {
    if (gate_->isClosed())
        return kj::READY_NOW;
    std::shared_ptr<const RecordBatch> records;
    try {
        records = wire::decodeRecords(context.getParams().getBatch());
    } catch (const kj::Exception&) {
        // lists of another kind than the schema's
    }
    if (!records) {
        const kj::Exception malformed = localError("tallyd sent a malformed batch of records");
        arrivals_->fail(malformed);
        return kj::cp(malformed); // the daemon stops
    }
    context.releaseParams();
    gate_->pass([&] { batch_(std::move(records)); });
    arrivals_->count();
    return kj::READY_NOW;
}

kj::Promise<void> CountSinkServer::batch(BatchContext context) {
    const auto params = context.getParams();
    auto& list = params.getList() == wire::CountList::PIE ? gathered_->pie : gathered_->entries;
    bool whole = false;
    try {
        whole = wire::decodeCounts(params.getEntries(), list);
    } catch (const kj::Exception&) {
    }
    if (!whole) {
        const kj::Exception malformed = localError("tallyd sent a malformed list of counts");
        arrivals_->fail(malformed);
        return kj::cp(malformed);
    }
    arrivals_->count();
    return kj::READY_NOW;
}

kj::Promise<void> AgentServer::realTimeLog(RealTimeLogContext context) {
    if (const auto agent = agent_.lock())
        agent->realTimeLogWithInfo(wire::decodeLive(context.getParams().getInfo()));
    return kj::READY_NOW;
}

kj::Promise<void> AgentServer::sendLogUserNotification(SendLogUserNotificationContext context) {
    // Entries may take no bytes on the wire: a short message could have millions.
    if (context.getParams().getInfo().size() > kMostInfo)
        return localError("tallyd sent a malformed notification");
    if (const auto agent = agent_.lock()) {
        std::map<std::string, std::string> info;
        for (const auto pair : context.getParams().getInfo())
            info[wire::textOf(pair.getKey())] = wire::textOf(pair.getValue());
        agent->sendLogUserNotificationWithInfo(std::move(info));
    }
    return kj::READY_NOW;
}

} // namespace brindle::client
