// SPDX-License-Identifier: BSD-2-Clause
//
// The bytes of one logged packet: the log header of a system, then the IP packet. Appends to the
// caller's buffer. Used by writeCapture only.
#pragma once

#include "bench/captures/CaptureFile.h"
#include "bench/captures/Traffic.h"

#include <cstdint>
#include <string>
#include <vector>

namespace brindle::bench {

/// Numbers appended in a chosen byte order.
class Bytes {
  public:
    explicit Bytes(FileOrder order) : order_(order) {}

    void number8(std::uint8_t value) { bytes_.push_back(value); }
    /// In network order.
    void big16(std::uint16_t value);
    void big32(std::uint32_t value);
    /// In the order of the file.
    void own16(std::uint16_t value);
    void own32(std::uint32_t value);
    void address(const IpAddress& address);
    /// A text padded with NUL to `size` bytes.
    void text(const std::string& text, std::size_t size);
    void zeros(std::size_t count) { bytes_.resize(bytes_.size() + count); }

    std::vector<std::uint8_t>& bytes() { return bytes_; }
    FileOrder order() const { return order_; }

  private:
    FileOrder order_;
    std::vector<std::uint8_t> bytes_;
};

/// `sequence` numbers the packets of an NFLOG group.
void appendLogPacket(Bytes& bytes, const LoggedPacket& packet, CaptureKind kind,
                     std::uint32_t sequence);

/// The pcap link type of a kind.
std::uint32_t linkTypeOf(CaptureKind kind);

} // namespace brindle::bench
