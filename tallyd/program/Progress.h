// SPDX-License-Identifier: BSD-2-Clause
//
// Whether the intake's writer gets on: what was handed over must become stored or lost. Asked by
// `serve` on the main thread, once each time the service manager is to hear of us.
#pragma once

#include <cstdint>

namespace brindle::tallyd {

class Progress {
  public:
    /// `handedOver`: records and losses that sources gave, read before `settled`: those that the
    /// intake has accounted for. False when something has waited since the last time and nothing at
    /// all came of it.
    bool goesOn(std::uint64_t handedOver, std::uint64_t settled) {
        const bool isStuck = didWait_ && settled == settled_;
        didWait_ = handedOver > settled;
        settled_ = settled;
        return !(isStuck && didWait_);
    }

  private:
    std::uint64_t settled_ = 0;
    bool didWait_ = false;
};

} // namespace brindle::tallyd
