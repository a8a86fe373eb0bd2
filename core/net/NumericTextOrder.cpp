// SPDX-License-Identifier: BSD-2-Clause
#include "core/net/NumericTextOrder.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace brindle {
namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// Takes the run of digits that `text` starts with, without its leading zeros.
std::string_view takeNumber(std::string_view& text) {
    std::size_t zeros = 0;
    while (zeros < text.size() && text[zeros] == '0')
        ++zeros;
    std::size_t end = zeros;
    while (end < text.size() && isDigit(text[end]))
        ++end;
    const std::string_view digits = text.substr(zeros, end - zeros);
    text.remove_prefix(end);
    return digits;
}

} // namespace

std::weak_ordering numericTextOrder(std::string_view a, std::string_view b) {
    while (!a.empty() && !b.empty()) {
        if (isDigit(a.front()) && isDigit(b.front())) {
            const std::string_view numberA = takeNumber(a);
            const std::string_view numberB = takeNumber(b);
            if (numberA.size() != numberB.size())
                return numberA.size() <=> numberB.size();
            if (const int order = numberA.compare(numberB); order != 0)
                return order <=> 0;
        } else {
            const auto codeA = static_cast<unsigned char>(a.front());
            const auto codeB = static_cast<unsigned char>(b.front());
            if (codeA != codeB)
                return codeA <=> codeB;
            a.remove_prefix(1);
            b.remove_prefix(1);
        }
    }
    return a.size() <=> b.size();
}

char* writeNumericOrderKey(std::string_view text, char* out) {
    // A number becomes "0", which stands where digits stand among the other bytes, then how many
    // digits it has, then the digits: more digits are a greater value.
    constexpr std::size_t kLongNumber = 0xFF;
    const char* next = text.data();
    const char* const end = next + text.size();
    while (next != end) {
        if (!isDigit(*next)) {
            *out++ = *next++;
            continue;
        }
        while (next != end && *next == '0')
            ++next;
        *out++ = '0';
        // Copied before their number is known, as nearly all are short: one look at each byte.
        char* const length = out++;
        const char* const digits = next;
        while (next != end && isDigit(*next))
            *out++ = *next++;
        const auto count = static_cast<std::size_t>(next - digits);
        *length = static_cast<char>(std::min(count, kLongNumber));
        if (count >= kLongNumber) {
            out = length + 1;
            for (int shift = 56; shift >= 0; shift -= 8)
                *out++ = static_cast<char>(std::uint64_t{count} >> shift);
            out = std::copy(digits, next, out);
        }
    }
    return out;
}

std::string numericOrderKey(std::string_view text) {
    std::string key(numericOrderKeyBound(text.size()), '\0');
    key.resize(static_cast<std::size_t>(writeNumericOrderKey(text, key.data()) - key.data()));
    return key;
}

} // namespace brindle
