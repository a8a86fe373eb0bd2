// SPDX-License-Identifier: BSD-2-Clause
#include "app/logs/LogFill.h"

#include "app/logs/ExclusionMenu.h"

#include <algorithm>
#include <string>

namespace brindle {

std::shared_ptr<LogFill> LogFill::start(AppContext& context, LogsArrayController& controller,
                                        FillRequest request, Hooks hooks) {
    const std::shared_ptr<LogFill> fill(
        new LogFill(context, controller, request, std::move(hooks)));
    // Whatever the connection tells is told again on the main thread, if the fill is still wanted.
    const auto onMain = [main = context.queues.main, weak = std::weak_ptr(fill)](auto work) {
        main->async([weak, work = std::move(work)] {
            if (const auto self = weak.lock()) {
                work(*self);
            }
        });
    };
    RecordReply reply;
    reply.batch = [onMain](std::shared_ptr<const RecordBatch> batch) {
        onMain([batch = std::move(batch)](LogFill& self) { self.take(batch); });
    };
    reply.end = [onMain] { onMain([](LogFill& self) { self.finish(FillOutcome::complete); }); };
    const auto failed = [onMain] {
        onMain([](LogFill& self) { self.finish(FillOutcome::brokeOff); });
    };
    fill->query_ = context.helper->queryLogs(request.from, request.to, std::move(reply), failed);
    return fill->query_ ? fill : nullptr;
}

LogFill::LogFill(AppContext& context, LogsArrayController& controller, FillRequest request,
                 Hooks hooks)
    : context_(context), controller_(controller), request_(request), hooks_(std::move(hooks)),
      answer_(controller.beginAnswer()), reached_(request.to) {}

LogFill::~LogFill() {
    if (!over_) {
        if (query_) {
            query_->cancel();
        }
        controller_.endAnswer(answer_);
    }
}

void LogFill::take(const std::shared_ptr<const RecordBatch>& batch) {
    if (over_ || !batch || batch->empty()) {
        return;
    }
    const auto self = shared_from_this(); // the view may let go of it in a hook
    hasRows_ = true;
    reached_ = batch->rows().back().epoch;
    bool full = false;
    if (request_.mode == LogsMode::period) {
        controller_.append(answer_, batch);
    } else {
        for (std::size_t row = 0; row < batch->size() && !full; ++row) {
            if (!isExcluded(*batch, row)) {
                controller_.append(answer_, VDXLog(batch, row, *context_.tables));
                full = ++added_ == request_.limit;
            }
        }
    }
    hooks_.rowsCame(*this);
    if (full) {
        query_->cancel();
        finish(FillOutcome::complete);
    }
}

bool LogFill::isExcluded(const RecordBatch& batch, std::size_t row) const {
    const RecordRow& record = batch.row(row);
    const std::string_view src = batch.text(record.srcip);
    return context_.exclusionTest->isExcluded(
        src, std::to_string(record.srcport), batch.text(record.dstip),
        std::to_string(record.dstport), isIpv6Text(src) ? 6 : 4);
}

double LogFill::progress(double oldest) const {
    const double span = request_.to - std::max(request_.from, oldest);
    return span <= 0 ? 0 : std::clamp((request_.to - reached_) / span, 0.0, 1.0);
}

void LogFill::stop() {
    if (!over_) {
        query_->cancel();
        finish(FillOutcome::stopped);
    }
}

void LogFill::finish(FillOutcome outcome) {
    if (over_) {
        return;
    }
    over_ = true;
    const auto self = shared_from_this();
    if (outcome == FillOutcome::brokeOff) {
        controller_.withdrawAnswer(answer_);
    } else {
        controller_.endAnswer(answer_);
    }
    hooks_.over(*this, outcome);
}

} // namespace brindle
