// SPDX-License-Identifier: BSD-2-Clause
//
// A source that reads what comes, for as long as the daemon runs: when its device or file cannot be
// had it says so once, waits, and tries again. Made by makeSource; see Source for who owns it.
#pragma once

#include "tallyd/sources/Source.h"
#include "tallyd/sources/live/SourceReader.h"

#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include <tl/expected.hpp>

namespace brindle::tallyd {

class LiveSource final : public Source {
  public:
    /// How long to wait before another attempt.
    static constexpr std::chrono::milliseconds kRetryTime{3000};

    /// Makes the first attempt to open, here and now. That it fails is no error: the device may
    /// come.
    LiveSource(std::string name, std::unique_ptr<SourceReader> reader,
               std::chrono::milliseconds retryTime = kRetryTime);
    ~LiveSource() override;

    const std::string& name() const override { return name_; }
    void start(RecordSink& sink) override;

  private:
    void run(SourceFeed feed);
    void tellWaiting(SourceFeed& feed, const std::string& reason);
    void tellRunning(SourceFeed& feed);

    const std::string name_;
    const std::chrono::milliseconds retryTime_;
    StopEvent stop_;

    // Of the thread, once started.
    std::unique_ptr<SourceReader> reader_;
    tl::expected<void, std::string> opened_;
    bool isWaitTold_ = false; ///< in the log, since it last read

    std::thread thread_;
};

} // namespace brindle::tallyd
