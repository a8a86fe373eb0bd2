// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/live/StopEvent.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <system_error>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace brindle::tallyd {

StopEvent::StopEvent() : event_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (event_ < 0)
        throw std::system_error(errno, std::generic_category(), "no event to stop a source by");
}

StopEvent::~StopEvent() {
    ::close(event_);
}

void StopEvent::set() {
    set_.store(true, std::memory_order_release);
    // Never read back, so that every later wait returns at once.
    const std::uint64_t one = 1;
    static_cast<void>(!::write(event_, &one, sizeof one));
}

StopEvent::Woken StopEvent::waitFor(int descriptor,
                                    std::optional<std::chrono::milliseconds> timeout) const {
    // poll() passes over a negative descriptor.
    pollfd waited[]{{event_, POLLIN, 0}, {descriptor, POLLIN, 0}};
    const int count =
        ::poll(waited, 2, timeout ? static_cast<int>(std::max<long>(timeout->count(), 0)) : -1);
    if (isSet())
        return Woken::stopped;
    return count > 0 && waited[1].revents != 0 ? Woken::ready : Woken::timeout;
}

bool StopEvent::pause(std::chrono::milliseconds time) const {
    return waitFor(-1, time) != Woken::stopped;
}

} // namespace brindle::tallyd
