// SPDX-License-Identifier: BSD-2-Clause
//
// The threads that ask the daemon's service, so that a slow answer never holds up the loop that
// serves every connection. Owned by the server; work is submitted from the loop thread, its answer
// comes back to it as a promise.
#pragma once

#include "protocol/server/Failure.h"
#include "protocol/wire/LoopThread.h"

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <kj/async.h>
#include <kj/function.h>
#include <tl/expected.hpp>

namespace brindle::server {

class Workers {
  public:
    using Job = kj::Function<void()>;

    Workers(std::size_t count, wire::LoopThread& loop);
    ~Workers() { stop(); }
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

    /// Runs `work` on a worker. `work` returns a tl::expected with a text as error, which the
    /// promise fails with; so it does when the work throws, and when too much waits already.
    /// Dropping the promise lets work that has begun run, its answer goes unheard; work that has
    /// not is left undone.
    template <typename Work>
    auto ask(Work work) -> kj::Promise<kj::Own<typename decltype(work())::value_type>> {
        using Answer = decltype(work());
        using Value = typename Answer::value_type;
        auto waiting = kj::newPromiseAndFulfiller<kj::Own<Value>>();
        if (isFull())
            return failure("tallyd has too many requests to answer");
        auto isWanted = std::make_shared<std::atomic<bool>>(true);
        // The fulfiller belongs to the loop: it travels with the job and back, never used here.
        submit([this, isWanted, work = std::move(work),
                fulfiller = kj::mv(waiting.fulfiller)]() mutable {
            Answer answer = *isWanted ? guarded<Answer>(work)
                                      : Answer(tl::unexpected(std::string("is not wanted")));
            loop_.post([answer = std::move(answer), fulfiller = kj::mv(fulfiller)]() mutable {
                if (answer)
                    fulfiller->fulfill(kj::heap<Value>(std::move(*answer)));
                else
                    fulfiller->reject(failure(answer.error()));
            });
        });
        return waiting.promise.attach(kj::defer([isWanted] { *isWanted = false; }));
    }

    /// Ends the threads once each has finished its current job; the other jobs are handed to the
    /// loop thread to be destroyed there. Call while the loop still runs.
    void stop();

  private:
    template <typename Answer, typename Work>
    static Answer guarded(Work& work) {
        try {
            return work();
        } catch (const std::exception& failure) {
            return tl::unexpected(std::string("tallyd failed: ") + failure.what());
        }
    }

    bool isFull();
    void submit(Job job);
    void run();

    wire::LoopThread& loop_;
    std::mutex mutex_;
    std::condition_variable more_;
    std::deque<Job> jobs_;
    bool ending_ = false;
    std::vector<std::thread> threads_;
};

} // namespace brindle::server
