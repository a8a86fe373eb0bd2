// SPDX-License-Identifier: BSD-2-Clause
//
// Asks a thread that waits for a descriptor to end. Owned by the source whose thread it is; `set`
// may be called on any thread, the rest on the one that waits.
#pragma once

#include <atomic>
#include <chrono>
#include <optional>

namespace brindle::tallyd {

class StopEvent {
  public:
    StopEvent();
    ~StopEvent();
    StopEvent(const StopEvent&) = delete;
    StopEvent& operator=(const StopEvent&) = delete;

    void set();
    bool isSet() const { return set_.load(std::memory_order_acquire); }

    enum class Woken { stopped, ready, timeout };

    /// Waits for a descriptor to have input (or an error to tell). No timeout: as long as it takes.
    Woken waitFor(int descriptor, std::optional<std::chrono::milliseconds> timeout) const;
    /// False when told to stop meanwhile.
    bool pause(std::chrono::milliseconds time) const;

  private:
    int event_ = -1;
    std::atomic<bool> set_ = false;
};

} // namespace brindle::tallyd
