// SPDX-License-Identifier: BSD-2-Clause
//
// Packets of every link type, as a device or a capture hands them out: the first byte chooses the
// type, the rest is the packet.
#include "tallyd/sources/CaptureInput.h"
#include "tests/fuzz/Target.h"

#include <array>

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace brindle;
    constexpr std::array kLinkTypes{117, 239, 17};
    if (size == 0)
        return 0;
    const auto decoder = tallyd::makePacketDecoder(kLinkTypes[data[0] % kLinkTypes.size()]);
    const auto record = decoder->decode({data + 1, size - 1}, 1'700'000'000'000'000);
    if (record) {
        test::require(record->src.isValid() && record->dst.isValid());
        test::require(!record->proto.empty());
    }
    return 0;
}
