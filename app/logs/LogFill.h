// SPDX-License-Identifier: BSD-2-Clause
//
// One log query whose rows go into the table: batches come in on the connection's delivery thread
// and are added on the main thread, tested against the exclusions and counted against a limit in
// live mode. Until the answer is complete its rows are provisional; when it breaks off they are
// taken out again. Made and kept by the logs view; main thread. Destroying it abandons the query.
//
//     fill = LogFill::start(context, controller, {from, to, LogsMode::live, 5}, {onRows, onOver});
#pragma once

#include "app/AppContext.h"
#include "app/logs/table/LogsArrayController.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace brindle {

struct FillRequest {
    double from = 0; ///< epochs, both bounds included
    double to = 0;
    LogsMode mode = LogsMode::live;
    std::int64_t limit = 0; ///< live: rows added at most, 0 for all; a period has none
};

enum class FillOutcome {
    complete, ///< all of it is there, or as much as the limit lets in
    stopped,  ///< abandoned by the user, who keeps the rows that came
    brokeOff  ///< its rows were withdrawn
};

class LogFill : public std::enable_shared_from_this<LogFill> {
  public:
    /// Called on the main thread, never from within start().
    struct Hooks {
        std::function<void(LogFill&)> rowsCame;
        std::function<void(LogFill&, FillOutcome)> over; ///< once, the last call
    };

    /// Null when no connection can be had. `context` and `controller` outlive the fill.
    static std::shared_ptr<LogFill> start(AppContext& context, LogsArrayController& controller,
                                          FillRequest request, Hooks hooks);
    ~LogFill();

    const FillRequest& request() const { return request_; }
    bool hasRows() const { return hasRows_; }
    /// How much of the asked time, from its end to `oldest` or its start, has been covered: 0 to 1.
    double progress(double oldest) const;
    /// Abandons the query and keeps its rows.
    void stop();

  private:
    LogFill(AppContext& context, LogsArrayController& controller, FillRequest request, Hooks hooks);
    void take(const std::shared_ptr<const RecordBatch>& batch);
    bool isExcluded(const RecordBatch& batch, std::size_t row) const;
    void finish(FillOutcome outcome);

    AppContext& context_;
    LogsArrayController& controller_;
    const FillRequest request_;
    const Hooks hooks_;
    const AnswerId answer_;
    std::shared_ptr<RunningQuery> query_;
    double reached_; ///< epoch of the oldest row so far
    std::int64_t added_ = 0;
    bool hasRows_ = false;
    bool over_ = false;
};

} // namespace brindle
