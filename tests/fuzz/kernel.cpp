// SPDX-License-Identifier: BSD-2-Clause
//
// Messages of the kernel's buffer, which any program with the right to may write to, and the stored
// place in it. Pieces between NUL characters: the place, then a message each.
#include "tallyd/sources/kernel/KernelBuffer.h"
#include "tests/fuzz/Sink.h"

#include <sys/socket.h>

namespace {

using namespace brindle;

/// A device that gives a message a read and then fails.
int deviceOf(std::string_view messages) {
    int ends[2];
    test::require(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) ==
                  0);
    while (!messages.empty()) {
        const std::size_t end = std::min(messages.find('\0'), messages.size());
        if (end > 0 && ::send(ends[1], messages.data(), end, MSG_NOSIGNAL) < 0)
            break; // as much as there is room for
        messages.remove_prefix(std::min(end + 1, messages.size()));
    }
    ::close(ends[1]);
    return ends[0];
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = test::textOf(data, size);
    const std::size_t end = std::min(text.find('\0'), text.size());
    const std::string_view messages = text.substr(std::min(end + 1, text.size()));
    test::CheckingSink sink{std::string(text.substr(0, end))};
    tallyd::KernelBuffer buffer([&] { return deviceOf(messages); }, "boot");
    test::require(buffer.open().has_value());
    const tallyd::StopEvent stop;
    tallyd::SourceFeed feed(sink, 1, stop);
    test::require(!buffer.read(feed).empty());
    return 0;
}
