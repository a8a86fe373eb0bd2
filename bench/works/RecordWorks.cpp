// SPDX-License-Identifier: BSD-2-Clause
#include "bench/works/Works.h"

#include "bench/captures/PacketForm.h"
#include "protocol/wire/RecordEncoding.h"
#include "tallyd/sources/nflog/NflogDecoder.h"
#include "tallyd/sources/pflog/PflogDecoder.h"

#include <cstdint>
#include <memory>

namespace brindle::bench {

namespace {

constexpr std::size_t kRecords = 4096;

using Packets = std::vector<std::vector<std::uint8_t>>;

Packets packetsOf(CaptureKind kind) {
    Traffic traffic(3, 50'000, Traffic::Remote::worldwide);
    Packets packets;
    for (std::uint32_t i = 0; i < kRecords; ++i) {
        Bytes bytes(FileOrder::littleEndian);
        appendLogPacket(bytes, traffic.next(), kind, i);
        packets.push_back(std::move(bytes.bytes()));
    }
    return packets;
}

template <typename Decoder>
Work decoding(std::string name, CaptureKind kind) {
    return {std::move(name), kRecords,
            [packets = std::make_shared<const Packets>(packetsOf(kind))] {
                Decoder decoder;
                std::size_t sum = 0;
                for (const auto& packet : *packets)
                    sum += decoder.decode(packet, 1'700'000'000'000'000)->dstport;
                return sum;
            }};
}

std::shared_ptr<const RecordBatch> batch() {
    tallyd::PflogDecoder decoder;
    RecordBatchBuilder builder;
    for (const auto& packet : packetsOf(CaptureKind::openbsd)) {
        const PacketRecord record = decoder.decode(packet, 1'700'000'000'000'000).value();
        RecordRow row;
        row.epoch = static_cast<double>(record.timeMicros) / 1e6;
        row.uid = record.uid;
        row.srcport = record.srcport;
        row.dstport = record.dstport;
        row.rule = builder.intern(record.rule);
        row.action = builder.intern(actionText(record.action));
        row.direction = builder.intern(directionText(record.direction));
        row.interface = builder.intern(record.interface);
        row.srcip = builder.intern(record.src.text());
        row.dstip = builder.intern(record.dst.text());
        row.proto = builder.intern(record.proto);
        builder.add(row);
    }
    return builder.finish();
}

} // namespace

std::vector<Work> recordWorks() {
    const auto rows = batch();
    const std::shared_ptr<capnp::MallocMessageBuilder> message = wire::encodeRecords(*rows);
    return {
        decoding<tallyd::PflogDecoder>("record from a pflog packet, OpenBSD", CaptureKind::openbsd),
        decoding<tallyd::PflogDecoder>("record from a pflog packet, FreeBSD",
                                       CaptureKind::freebsd13),
        decoding<tallyd::NflogDecoder>("record from an NFLOG packet", CaptureKind::nflog),
        {"row of a batch, encoded", kRecords,
         [rows] { return wire::encodeRecords(*rows)->sizeInWords(); }},
        {"row of a batch, decoded", kRecords,
         [message] {
             return wire::decodeRecords(message->getRoot<wire::RecordBatch>().asReader())
                 ->textCount();
         }},
    };
}

} // namespace brindle::bench
