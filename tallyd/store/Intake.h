// SPDX-License-Identifier: BSD-2-Clause
//
// Takes records from the sources and gets them stored: a bounded queue that any thread may fill,
// and one thread that closes batches, commits them and tells a listener. It keeps the account of
// every source: what was received was stored, or lost for a reason. Purging and the store's upkeep
// run on the same thread, in small steps between the batches. Owned by tallyd's main.
//
//     Intake intake(std::move(writer), IntakeLimits::live(), publish);
//     const SourceId source = intake.addSource("replay:/path@10");
//     intake.add(source, std::move(records), RecordSink::WhenFull::wait);
//     intake.drain();
#pragma once

#include "protocol/DaemonStatus.h"
#include "tallyd/records/RecordSink.h"
#include "tallyd/store/IntakeLimits.h"
#include "tallyd/store/StoreWriter.h"
#include "tallyd/store/Upkeep.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <tl/expected.hpp>

namespace brindle::tallyd {

class Intake final : public RecordSink {
  public:
    /// Called on the writer thread after each commit, in the order of storing.
    using CommitListener = std::function<void(std::shared_ptr<const std::vector<StoredRecord>>)>;

    Intake(std::unique_ptr<StoreWriter> writer, IntakeLimits limits, CommitListener listener = {});
    ~Intake() override; ///< drains

    SourceId addSource(const std::string& name) override;
    void setState(SourceId source, const std::string& state) override;
    std::string storedPosition(SourceId source) override;
    void add(SourceId source, std::vector<PacketRecord> records, WhenFull whenFull,
             std::string position = {}) override;
    void countLost(SourceId source, std::string_view reason, std::uint64_t count) override;

    /// Deletes the records before a time (microseconds) and returns when they are gone: how many.
    /// Any thread but the writer's; an error when the store cannot, or when the intake stops
    /// meanwhile.
    tl::expected<std::uint64_t, std::string> purgeBefore(std::int64_t beforeMicros);

    /// The figures of the intake and its sources; records still on their way are not counted yet,
    /// so that received = stored + lost at any moment. Any thread.
    DaemonStatus status() const;

    /// Commits everything that was accepted, ends the writer thread and waits for the disk. What is
    /// added afterwards is lost as "stopped". An error when the disk refuses; one call is enough.
    tl::expected<void, std::string> drain();

  private:
    using Clock = std::chrono::steady_clock;

    struct Chunk {
        SourceId source = 0;
        Clock::time_point arrived;
        std::vector<PacketRecord> records;
        std::string position; ///< empty: unchanged
    };
    struct Account {
        SourceStatus status;
        std::uint64_t underWay = 0; ///< received, neither stored nor lost yet
    };
    struct Purge {
        std::int64_t beforeMicros = 0;
        std::uint64_t deleted = 0;
        bool done = false;
        std::string error;
    };
    using Lock = std::unique_lock<std::mutex>;

    void run();
    std::size_t fullBatch() const;
    bool batchDue() const;
    void storeBatch(Lock& lock);
    void purgeStep(Lock& lock);
    void upkeepStep(Lock& lock);
    void rest(Lock& lock);
    void reportStore(const std::string& error, std::size_t records);

    const std::unique_ptr<StoreWriter> writer_; ///< the writer thread's, and drain's after it
    const IntakeLimits limits_;
    const CommitListener listener_;
    const SourcePositions positions_; ///< as they were when the intake began

    mutable std::mutex mutex_;
    std::condition_variable work_; ///< the writer thread waits here
    std::condition_variable room_; ///< those who add
    std::condition_variable purged_;
    std::deque<Chunk> queue_;
    std::size_t queued_ = 0;      ///< records in the queue
    std::deque<Account> sources_; ///< grows while references to its elements are held
    std::deque<std::shared_ptr<Purge>> purges_;
    bool stopping_ = false;

    Upkeep upkeep_; ///< the writer thread's

    std::string storeError_; ///< what is being reported; the writer thread's
    std::uint64_t storeLost_ = 0;
    std::thread thread_;
};

} // namespace brindle::tallyd
