// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/capture/LiveCapture.h"

#include <chrono>
#include <map>
#include <string_view>

#include <pcap/pcap.h>

namespace brindle::tallyd {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr std::string_view kKernelDrop = "dropped by the kernel: the reader was too slow";
/// A burst is handed over in parts no larger, and no older, than this.
constexpr std::size_t kBatchRecords = 4096;
constexpr auto kBatchTime = 20ms;
/// The kernel's counter is asked so often while nothing comes: a loss may be the last there is.
constexpr auto kQuietTime = 1000ms;

} // namespace

void ClosePcap::operator()(pcap* capture) const {
    pcap_close(capture);
}

/// What one hand-over to the sink consists of, filled by libpcap's callback.
class LiveCapture::Batch {
  public:
    Batch(PacketDecoder& decoder, SourceFeed& feed) : decoder_(decoder), feed_(feed) {}

    static void take(u_char* batch, const pcap_pkthdr* header, const u_char* bytes) {
        reinterpret_cast<Batch*>(batch)->add(*header, bytes);
    }
    bool isFull() const { return records_.size() >= kBatchRecords; }

    void handOver() {
        for (const auto& [reason, count] : undecoded_)
            feed_.countLost(reason, count);
        undecoded_.clear();
        feed_.countLost(kKernelDrop, decoder_.takeMissed());
        if (!records_.empty())
            feed_.addOrDrop(std::exchange(records_, {}));
    }

  private:
    void add(const pcap_pkthdr& header, const u_char* bytes) {
        const std::int64_t micros =
            static_cast<std::int64_t>(header.ts.tv_sec) * 1'000'000 + header.ts.tv_usec;
        auto record = decoder_.decode({bytes, header.caplen}, micros);
        if (record)
            records_.push_back(std::move(*record));
        else
            ++undecoded_[record.error()];
    }

    PacketDecoder& decoder_;
    SourceFeed& feed_;
    std::vector<PacketRecord> records_;
    std::map<std::string_view, std::uint64_t> undecoded_;
};

tl::expected<void, std::string> LiveCapture::open() {
    capture_ = {};
    dropsTold_ = 0;
    auto opened = openDevice_();
    if (!opened)
        return tl::unexpected(opened.error());
    capture_ = std::move(*opened);
    return {};
}

std::string LiveCapture::read(SourceFeed& feed) {
    pcap* const handle = capture_.handle.get();
    const int descriptor = pcap_get_selectable_fd(handle);
    Batch batch(*capture_.decoder, feed);
    for (;;) {
        switch (feed.stop().waitFor(descriptor, kQuietTime)) {
        case StopEvent::Woken::stopped:
            return {};
        case StopEvent::Woken::timeout:
            countKernelDrops(feed);
            continue;
        case StopEvent::Woken::ready:
            break;
        }
        const auto handOverTime = Clock::now() + kBatchTime;
        int outcome = 0;
        do {
            outcome = pcap_dispatch(handle, kBatchRecords, &Batch::take,
                                    reinterpret_cast<u_char*>(&batch));
        } while (outcome >= 0 && !batch.isFull() && Clock::now() < handOverTime &&
                 feed.stop().waitFor(descriptor, 0ms) == StopEvent::Woken::ready);
        batch.handOver();
        countKernelDrops(feed);
        if (outcome < 0) {
            const std::string reason = pcap_geterr(handle);
            capture_ = {}; // a device that went is let go of, so that it can come again
            return reason;
        }
    }
}

void LiveCapture::countKernelDrops(SourceFeed& feed) {
    pcap_stat counters{};
    if (pcap_stats(capture_.handle.get(), &counters) != 0)
        return;
    feed.countLost(kKernelDrop, counters.ps_drop - dropsTold_);
    dropsTold_ = counters.ps_drop;
}

} // namespace brindle::tallyd
