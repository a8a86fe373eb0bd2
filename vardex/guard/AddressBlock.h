// SPDX-License-Identifier: BSD-2-Clause
//
// An address or a block of addresses as the packet filter takes it: the first and the last one. A
// value; any thread. Used by the companion and by its helper, so that both read a text alike.
//
//     const auto block = AddressBlock::parse("203.0.113.7/24");
//     block->text();                                             // "203.0.113.0/24"
#pragma once

#include "core/net/IpAddress.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace brindle::vardex {

class AddressBlock {
  public:
    /// An address as inet_pton takes it, or one with "/" and a prefix length in digits. An IPv4
    /// address in the IPv6 form ("::ffff:192.0.2.1") is the IPv4 one: that is what its packets
    /// carry. Nothing for any other text.
    static std::optional<AddressBlock> parse(std::string_view text);

    IpAddress::Family family() const { return first_.family(); }
    const IpAddress& first() const { return first_; }
    const IpAddress& last() const { return last_; }
    bool isSingle() const { return first_ == last_; }
    bool contains(const IpAddress& address) const {
        return address.family() == family() && first_ <= address && address <= last_;
    }
    bool overlaps(const AddressBlock& other) const {
        return other.family() == family() && first_ <= other.last_ && other.first_ <= last_;
    }
    /// The one way to write it: without host bits, and without a prefix length when it is a single
    /// address.
    std::string text() const;

    friend auto operator<=>(const AddressBlock&, const AddressBlock&) = default;

  private:
    AddressBlock(const IpAddress& address, unsigned prefix);

    IpAddress first_;
    IpAddress last_;
    unsigned prefix_ = 0;
};

/// The same addresses, each in one block only: sorted, and without blocks that lie in others.
std::vector<AddressBlock> withoutOverlaps(std::vector<AddressBlock> blocks);

} // namespace brindle::vardex
