// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/client/ErrorText.h"

#include <algorithm>

namespace brindle::client {

std::string oneLine(std::string_view text) {
    constexpr std::size_t kLongest = 500;
    std::string line(text.substr(0, kLongest));
    std::replace_if(
        line.begin(), line.end(), [](unsigned char c) { return c < 0x20 || c == 0x7f; }, ' ');
    return line;
}

std::string describe(const kj::Exception& error) {
    switch (error.getType()) {
    case kj::Exception::Type::DISCONNECTED:
        return kConnectionClosed;
    case kj::Exception::Type::UNIMPLEMENTED:
        return "this tallyd does not know the request";
    default:
        break;
    }
    std::string_view text(error.getDescription().begin(), error.getDescription().size());
    constexpr std::string_view kRemote = "remote exception: ";
    if (!text.starts_with(kRemote))
        return oneLine(text);
    return "the daemon refused: " + oneLine(text.substr(kRemote.size()));
}

kj::Exception localError(const std::string& text) {
    return kj::Exception(kj::Exception::Type::FAILED, "client", 0, kj::heapString(text.c_str()));
}

} // namespace brindle::client
