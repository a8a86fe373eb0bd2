// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/lines/LineDecoder.h"

#include "tallyd/sources/filterlog/FilterlogDecoder.h"
#include "tallyd/sources/netfilter/NetfilterDecoder.h"

#include <ctime>
#include <utility>

namespace brindle::tallyd {

namespace {

template <typename Decoder>
class LinesOf final : public LineDecoder {
  public:
    explicit LinesOf(Decoder decoder) : decoder_(std::move(decoder)) {}

    std::optional<tl::expected<PacketRecord, std::string_view>>
    decode(std::string_view line, const LineClock& clock) override {
        if (!Decoder::recognises(line))
            return std::nullopt;
        return decoder_.decode(line, clock);
    }

  private:
    Decoder decoder_;
};

std::int64_t clockMicros(clockid_t clock) {
    timespec time{};
    ::clock_gettime(clock, &time);
    return static_cast<std::int64_t>(time.tv_sec) * 1'000'000 + time.tv_nsec / 1000;
}

} // namespace

std::unique_ptr<LineDecoder> makeLineDecoder(LineKind kind, ActionPatterns patterns) {
    if (kind == LineKind::filterlog)
        return std::make_unique<LinesOf<FilterlogDecoder>>(FilterlogDecoder());
    return std::make_unique<LinesOf<NetfilterDecoder>>(NetfilterDecoder(std::move(patterns)));
}

LineClock presentLineClock(std::int64_t writtenMicros) {
    LineClock clock;
    clock.nowMicros = clockMicros(CLOCK_REALTIME);
    clock.fallbackMicros = writtenMicros;
    clock.bootMicros = clock.nowMicros - clockMicros(CLOCK_MONOTONIC);
    return clock;
}

} // namespace brindle::tallyd
