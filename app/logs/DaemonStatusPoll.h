// SPDX-License-Identifier: BSD-2-Clause
//
// Asks the daemon how it is doing, over the connection that stands: it never opens one and writes
// no line. A daemon that does not know the request is asked once a connection. Owned by the logs
// window, main thread.
#pragma once

#include "app/logs/Wording.h"
#include "core/log/BrindleHelper.h"
#include "platform/queue/DispatchQueue.h"

#include <functional>
#include <memory>
#include <optional>

namespace brindle {

class DaemonStatusPoll : public std::enable_shared_from_this<DaemonStatusPoll> {
  public:
    /// `answered` runs on the main thread after each answer, never after the poll has gone.
    static std::shared_ptr<DaemonStatusPoll> create(std::shared_ptr<BrindleHelper> helper,
                                                    std::shared_ptr<platform::DispatchQueue> main,
                                                    std::function<void()> answered);

    /// Does nothing while a question is under way.
    void ask();
    void connectionChanged() { pending_ = false; }

    const std::optional<DaemonFigures>& last() const { return last_; }
    /// Epoch of the oldest stored record.
    std::optional<double> oldestStored() const { return oldestStored_; }

  private:
    DaemonStatusPoll() = default;

    std::shared_ptr<BrindleHelper> helper_;
    std::shared_ptr<platform::DispatchQueue> main_;
    std::function<void()> answered_;
    bool pending_ = false;
    std::optional<DaemonFigures> last_;
    std::optional<double> oldestStored_;
};

} // namespace brindle
