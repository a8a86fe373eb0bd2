// SPDX-License-Identifier: BSD-2-Clause
//
// A daemon that does what a test says: it notes every request, and the test answers log queries
// batch by batch. Stands in for the connection behind BrindleHelper. Main thread of the test; the
// count requests from any thread, one after the other.
#pragma once

#include "core/log/BrindleHelper.h"

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace brindle::test {

struct FakeQuery final : RunningQuery {
    double from = 0;
    double to = 0;
    RecordReply reply;
    ErrorHandler failed;
    bool cancelled = false;

    void cancel() override { cancelled = true; }
    void answer(std::shared_ptr<const RecordBatch> batch) const {
        if (!cancelled) {
            reply.batch(std::move(batch));
        }
    }
    void end() const {
        if (!cancelled) {
            reply.end();
        }
    }
};

/// One of the three count requests.
struct CountRequest {
    double epoch = 0;
    std::string subject; ///< "SRCIP", "DSTIP" or "DSTPORT"; of a breakdown the address or port
    std::string action;
    std::string direction;

    friend bool operator==(const CountRequest&, const CountRequest&) = default;
};

/// What was asked, over all connections.
struct FakeDaemon {
    bool reachable = true;
    DaemonStatus status;
    std::vector<std::string> messages; ///< names of the messages without queries and status
    std::vector<std::shared_ptr<FakeQuery>> queries;
    std::vector<CountRequest> countRequests;
    /// Answers the count requests; nothing is a failed request. Without them replies are empty.
    std::function<std::optional<CountReply>(const CountRequest&)> counts;
    std::function<std::optional<BreakdownReply>(const CountRequest&)> breakdown;
    std::function<void(std::string)>
        answerVersion; ///< of the version request, for the test to call
    ErrorHandler failVersion;

    FakeQuery& lastQuery() const { return *queries.back(); }
    /// The two requests of a reload come in either order: here that of the ports comes second.
    void note(CountRequest request) {
        CountRequest ports = request;
        ports.subject = "DSTPORT";
        const bool portsCameFirst =
            request.subject != "DSTPORT" && !countRequests.empty() && countRequests.back() == ports;
        countRequests.insert(countRequests.end() - (portsCameFirst ? 1 : 0), std::move(request));
    }

    std::mutex oneAtATime;
};

class FakeProxy final : public TallydHelperProtocol {
  public:
    FakeProxy(FakeDaemon& daemon, ErrorHandler failed)
        : daemon_(daemon), failed_(std::move(failed)) {}

    void getVersionWithReply(std::function<void(std::string)> reply) override {
        daemon_.messages.push_back("getVersionWithReply:");
        daemon_.answerVersion = std::move(reply);
        daemon_.failVersion = failed_;
    }
    std::shared_ptr<RunningQuery> doQueryFromEpochFrom(double from, double to,
                                                       RecordReply reply) override {
        auto query = std::make_shared<FakeQuery>();
        query->from = from;
        query->to = to;
        query->reply = std::move(reply);
        query->failed = failed_;
        daemon_.queries.push_back(query);
        return query;
    }
    void getOBJcontWithEpoch(double epoch, std::string action, std::string direction,
                             std::string obj, std::function<void(CountReply)> reply) override {
        answer(daemon_.counts, {epoch, obj, action, direction}, reply);
    }
    void startSendingLog() override { daemon_.messages.push_back("startSendingLog"); }
    void stopSendingLog() override { daemon_.messages.push_back("stopSendingLog"); }
    void getPORTfromIPcontWithEpoch(double epoch, std::string ip, std::string action,
                                    std::string direction,
                                    std::function<void(BreakdownReply)> reply) override {
        answer(daemon_.breakdown, {epoch, ip, action, direction}, reply);
    }
    void getIPfromPORTcontWithEpoch(double epoch, std::int64_t port, std::string action,
                                    std::string direction,
                                    std::function<void(BreakdownReply)> reply) override {
        answer(daemon_.breakdown, {epoch, std::to_string(port), action, direction}, reply);
    }
    void sendPortsArraysWithPassin(std::vector<std::string>, std::vector<std::string>,
                                   std::vector<std::string>, std::vector<std::string>) override {}
    void getOldestRecordDateWithReply(std::function<void(std::string)>) override {}
    void getNewestRecordDateWithReply(std::function<void(std::string)>) override {}
    void getRowsCountWithReply(std::function<void(std::string)>) override {}
    void purgeLogDBWithEndDate(double) override {}
    void getStatusWithReply(std::function<void(DaemonStatus)> reply) override {
        reply(daemon_.status);
    }

  private:
    template <typename Reply>
    void answer(const std::function<std::optional<Reply>(const CountRequest&)>& answerer,
                CountRequest request, const std::function<void(Reply)>& reply) {
        const std::lock_guard lock(daemon_.oneAtATime);
        daemon_.note(request);
        std::optional<Reply> found = answerer ? answerer(request) : Reply{};
        if (found) {
            reply(std::move(*found));
        } else {
            failed_("the request failed");
        }
    }

    FakeDaemon& daemon_;
    const ErrorHandler failed_;
};

class FakeConnection final : public TallydConnection {
  public:
    explicit FakeConnection(FakeDaemon& daemon) : daemon_(daemon) {}

    void setInvalidationHandler(std::function<void()> handler) override {
        invalidated_ = std::move(handler);
    }
    void resume() override {}
    void invalidate() override {
        if (const auto handler = std::exchange(invalidated_, {})) {
            handler();
        }
    }
    std::shared_ptr<TallydHelperProtocol>
    remoteObjectProxyWithErrorHandler(ErrorHandler handler) override {
        return std::make_shared<FakeProxy>(daemon_, std::move(handler));
    }
    std::shared_ptr<TallydHelperProtocol>
    synchronousRemoteObjectProxyWithErrorHandler(ErrorHandler handler) override {
        return std::make_shared<FakeProxy>(daemon_, std::move(handler));
    }

  private:
    FakeDaemon& daemon_;
    std::function<void()> invalidated_;
};

} // namespace brindle::test
