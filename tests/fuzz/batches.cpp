// SPDX-License-Identifier: BSD-2-Clause
//
// What a daemon answers, as the viewer and tallyctl take it apart: a byte for the kind of message,
// then the message.
#include "core/log/records/RecordText.h"
#include "protocol/wire/RecordEncoding.h"
#include "protocol/wire/ReplyEncoding.h"
#include "tests/fuzz/Target.h"

#include <cstring>
#include <vector>

#include <capnp/serialize.h>

namespace {

using namespace brindle;

void takeRecords(wire::RecordBatch::Reader message) {
    const auto batch = wire::decodeRecords(message);
    if (!batch)
        return;
    for (std::size_t row = 0; row < batch->size(); ++row)
        test::require(!recordDictionary(*batch, row).firstMissing());
    // What was taken in whole can be sent on.
    const auto again = wire::encodeRecords(*batch);
    const auto same = wire::decodeRecords(again->getRoot<wire::RecordBatch>().asReader());
    test::require(same && same->size() == batch->size() &&
                  same->characters() == batch->characters());
}

void takeCounts(wire::CountBatch::Reader message) {
    std::vector<CountEntry> entries{{.label = "first"}};
    if (!wire::decodeCounts(message, entries))
        return;
    test::require(!entries.empty() && entries[0].label == "first");
    const auto again = wire::encodeCounts(entries);
    std::vector<CountEntry> same;
    test::require(wire::decodeCounts(again->getRoot<wire::CountBatch>().asReader(), same) &&
                  same == entries);
}

void takeStatus(wire::DaemonStatus::Reader message) {
    const auto status = wire::decodeStatus(message);
    if (!status)
        return;
    for (const auto& epoch : {status->oldest, status->newest})
        if (epoch)
            dateText(*epoch);
}

void takeLive(wire::LiveRecord::Reader message) {
    test::require(convertLiveRecord(wire::decodeLive(message)).has_value());
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    std::vector<capnp::word> words((size - 1) / sizeof(capnp::word));
    if (!words.empty())
        std::memcpy(words.data(), data + 1, words.size() * sizeof(capnp::word));
    try {
        capnp::FlatArrayMessageReader message(kj::arrayPtr(words.data(), words.size()));
        switch (data[0] % 4) {
        case 0:
            takeRecords(message.getRoot<wire::RecordBatch>());
            break;
        case 1:
            takeCounts(message.getRoot<wire::CountBatch>());
            break;
        case 2:
            takeStatus(message.getRoot<wire::DaemonStatus>());
            break;
        default:
            takeLive(message.getRoot<wire::LiveRecord>());
        }
    } catch (const kj::Exception&) {
        // The RPC library says so of what is none of its messages, and fails the request with it.
    }
    return 0;
}
