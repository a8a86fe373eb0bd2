// SPDX-License-Identifier: BSD-2-Clause
#include "vardex/apply/ApplyInput.h"

#include "vardex/guard/AddressGuard.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include <unistd.h>

namespace brindle::vardex {
namespace {

/// Longer than any address; a longer line is shown by its beginning.
constexpr std::size_t kShownLength = 64;

/// A strange line goes to a terminal and into a window: as one short line of plain characters.
std::string shown(std::string_view line) {
    std::string text;
    for (const char c : line.substr(0, kShownLength))
        text += c >= ' ' && c < '\x7f' ? c : '?';
    if (line.size() > kShownLength)
        text += "...";
    return text;
}

} // namespace

ApplyInput checkInput(std::string_view text, const MachineAddresses& machine) {
    ApplyInput input;
    while (!text.empty()) {
        const auto end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.empty())
            continue;
        const bool insisted = line.starts_with(kForceWord);
        if (insisted)
            line.remove_prefix(kForceWord.size());
        const auto block = AddressBlock::parse(line);
        if (!block) {
            input.refused.push_back("refused " + shown(line) + ": is not an address or block");
            continue;
        }
        if (!insisted) {
            if (const auto reason = reasonToRefuse(*block, machine)) {
                input.refused.push_back("refused " + block->text() + ": " + *reason);
                continue;
            }
        }
        input.blocks.push_back(*block);
    }
    input.blocks = withoutOverlaps(std::move(input.blocks));
    return input;
}

tl::expected<std::string, std::string> readBounded(int descriptor, std::size_t most) {
    std::string text;
    std::array<char, 65536> block{};
    for (;;) {
        const ssize_t count = read(descriptor, block.data(), block.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return tl::unexpected(std::string("cannot read the addresses: ") +
                                  std::strerror(errno));
        if (count == 0)
            return text;
        text.append(block.data(), static_cast<std::size_t>(count));
        if (text.size() > most)
            return tl::unexpected("more than " + std::to_string(most) + " bytes of addresses");
    }
}

} // namespace brindle::vardex
