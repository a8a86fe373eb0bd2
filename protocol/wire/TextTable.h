// SPDX-License-Identifier: BSD-2-Clause
//
// Columns and text tables of the wire forms: plain numbers are copied in bulk, where the machine
// stores them as the wire does.
#pragma once

#include "protocol/wire/tallyd.capnp.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <capnp/any.h>

namespace brindle::wire {

template <typename Number>
std::vector<Number> copyColumn(typename capnp::List<Number>::Reader list) {
    std::vector<Number> column(list.size());
    const kj::ArrayPtr<const kj::byte> bytes = capnp::AnyList::Reader(list).getRawBytes();
    // A peer may send a list of wider elements, as the wire's rules for growing schemas allow.
    if (std::endian::native == std::endian::little &&
        bytes.size() == column.size() * sizeof(Number)) {
        if (!column.empty())
            std::memcpy(column.data(), bytes.begin(), bytes.size());
    } else {
        for (std::size_t i = 0; i < column.size(); ++i)
            column[i] = list[static_cast<kj::uint>(i)];
    }
    return column;
}

inline void encodeTexts(std::string_view characters, std::span<const std::uint32_t> ends,
                        TextTable::Builder wire) {
    wire.setCharacters({reinterpret_cast<const kj::byte*>(characters.data()), characters.size()});
    wire.setEnds(kj::arrayPtr(ends.data(), ends.size()));
}

inline std::string decodeCharacters(TextTable::Reader wire) {
    const capnp::Data::Reader bytes = wire.getCharacters();
    return std::string(reinterpret_cast<const char*>(bytes.begin()), bytes.size());
}

inline std::string textOf(capnp::Text::Reader text) {
    return std::string(text.begin(), text.size());
}

/// A text for the wire; the view ends in a zero byte, as those of std::string do.
inline capnp::Text::Reader wireText(const std::string& text) {
    return capnp::Text::Reader(text.c_str(), text.size());
}

} // namespace brindle::wire
