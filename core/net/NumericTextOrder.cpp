// SPDX-License-Identifier: BSD-2-Clause
#include "core/net/NumericTextOrder.h"

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

void appendNumericOrderKey(std::string& key, std::string_view text) {
    // A number becomes "0", which stands where digits stand among the other bytes, then how many
    // digits it has, then the digits: more digits are a greater value.
    constexpr std::size_t kLongNumber = 0xFF;
    while (!text.empty()) {
        if (!isDigit(text.front())) {
            key += text.front();
            text.remove_prefix(1);
            continue;
        }
        const std::string_view digits = takeNumber(text);
        key += '0';
        if (digits.size() < kLongNumber) {
            key += static_cast<char>(digits.size());
        } else {
            key += static_cast<char>(kLongNumber);
            for (int shift = 56; shift >= 0; shift -= 8)
                key += static_cast<char>(std::uint64_t{digits.size()} >> shift);
        }
        key += digits;
    }
}

} // namespace brindle
