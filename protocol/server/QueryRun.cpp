// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/server/QueryRun.h"

#include "protocol/wire/RecordEncoding.h"

#include <mutex>
#include <utility>

namespace brindle::server {

/// The cursor, shared with the job that uses it.
class QueryRun::Pages {
  public:
    Pages(DaemonService& service, double from, double to)
        : service_(service), from_(from), to_(to) {}

    /// On a worker: the next page, encoded.
    PageAnswer next() {
        {
            std::lock_guard lock(mutex_);
            if (abandoned_)
                return Page();
            inUse_ = true;
        }
        PageAnswer page = pull();
        std::unique_ptr<RecordCursor> unwanted;
        std::lock_guard lock(mutex_);
        inUse_ = false;
        if (abandoned_)
            unwanted = std::move(cursor_);
        return page;
    }

    /// On the loop: no page is wanted any more.
    void abandon() {
        std::unique_ptr<RecordCursor> unwanted;
        std::lock_guard lock(mutex_);
        abandoned_ = true;
        if (!inUse_)
            unwanted = std::move(cursor_);
    }

  private:
    PageAnswer pull() {
        if (!cursor_) {
            auto opened = service_.openQuery(from_, to_);
            if (!opened)
                return tl::unexpected(std::move(opened).error());
            cursor_ = std::move(*opened);
        }
        for (;;) {
            auto batch = cursor_->next();
            if (!batch)
                return tl::unexpected(std::move(batch).error());
            if (!*batch)
                return Page();
            if (!(*batch)->empty())
                return wire::encodeRecords(**batch);
            std::lock_guard lock(mutex_);
            if (abandoned_)
                return Page();
        }
    }

    DaemonService& service_;
    const double from_;
    const double to_;
    std::unique_ptr<RecordCursor> cursor_; ///< the user's while inUse_, else under the mutex
    std::mutex mutex_;
    bool inUse_ = false;
    bool abandoned_ = false;
};

QueryRun::QueryRun(DaemonService& service, Workers& workers, double from, double to,
                   wire::RecordSink::Client sink)
    : workers_(workers), sink_(kj::mv(sink)), pages_(std::make_shared<Pages>(service, from, to)) {}

QueryRun::~QueryRun() {
    pages_->abandon();
}

kj::Promise<std::uint32_t> QueryRun::run() {
    return sendFrom(fetch()).then([this] { return batches_; });
}

kj::Promise<kj::Own<QueryRun::Page>> QueryRun::fetch() {
    return workers_.ask([pages = pages_] { return pages->next(); });
}

kj::Promise<void> QueryRun::sendFrom(kj::Promise<kj::Own<Page>> next) {
    return next.then([this](kj::Own<Page> page) -> kj::Promise<void> {
        if (!*page)
            return kj::READY_NOW;
        // The following page is pulled while this one travels.
        auto following = fetch();
        const auto batch = (*page)->getRoot<wire::RecordBatch>().asReader();
        capnp::MessageSize size = batch.totalSize();
        constexpr kj::uint kCallWords = 4;
        size.wordCount += kCallWords;
        auto request = sink_.batchRequest(size);
        request.setBatch(batch);
        page = nullptr;
        ++batches_;
        return request.send().then([this, following = kj::mv(following)]() mutable {
            return sendFrom(kj::mv(following));
        });
    });
}

} // namespace brindle::server
