// SPDX-License-Identifier: BSD-2-Clause
#include "tallyctl/program/Output.h"

#include <cerrno>
#include <system_error>

#include <poll.h>
#include <unistd.h>

namespace brindle::tallyctl {

WriteResult Output::write(std::string_view text) {
    while (state_ == WriteResult::written && !text.empty()) {
        const ssize_t count = ::write(descriptor_, text.data(), text.size());
        if (count >= 0) {
            text.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno == EAGAIN) {
            // A pipe or terminal that someone else made non-blocking.
            pollfd ready{descriptor_, POLLOUT, 0};
            ::poll(&ready, 1, -1);
        } else if (errno == EPIPE) {
            state_ = WriteResult::closed;
        } else if (errno != EINTR) {
            state_ = WriteResult::failed;
            reason_ = std::generic_category().message(errno);
        }
    }
    return state_;
}

} // namespace brindle::tallyctl
