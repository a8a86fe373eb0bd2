// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/store/TallyRun.h"

#include "tallyd/store/Sqlite.h"

#include <algorithm>
#include <utility>

namespace brindle::tallyd {

namespace {

[[noreturn]] void damaged() {
    throw sqlite::Error("the store is damaged: a tally cannot be read");
}

// An entry: how many bytes the key shares with the one before it, how many follow, those, and the
// count in groups of seven bits, its sign in the lowest.
std::uint64_t withSignLast(std::int64_t count) {
    return (static_cast<std::uint64_t>(count) << 1) ^ static_cast<std::uint64_t>(count >> 63);
}

std::int64_t fromSignLast(std::uint64_t bits) {
    return static_cast<std::int64_t>(bits >> 1) ^ -static_cast<std::int64_t>(bits & 1);
}

} // namespace

TallyKey& TallyKey::add(const IpAddress& address) {
    const auto bytes = address.bytes();
    bytes_.at(size_) = static_cast<std::uint8_t>(address.family());
    std::copy(bytes.begin(), bytes.end(), bytes_.begin() + size_ + 1);
    size_ = static_cast<std::uint8_t>(size_ + 1 + bytes.size());
    return *this;
}

TallyKey& TallyKey::add(std::uint16_t port) {
    bytes_.at(size_) = static_cast<std::uint8_t>(port >> 8);
    bytes_.at(size_ + 1) = static_cast<std::uint8_t>(port);
    size_ = static_cast<std::uint8_t>(size_ + 2);
    return *this;
}

std::strong_ordering operator<=>(const TallyKey& a, const TallyKey& b) {
    const int order = std::memcmp(a.bytes_.data(), b.bytes_.data(), std::min(a.size_, b.size_));
    return order != 0 ? order <=> 0 : a.size_ <=> b.size_;
}

std::span<const std::uint8_t> TallyKeyParts::addressBytes() {
    if (rest_.empty())
        return {};
    const std::size_t size = rest_[0] == 4 ? 4 : rest_[0] == 6 ? 16 : 0;
    if (rest_.size() < 1 + size)
        damaged();
    const auto address = rest_.subspan(1, size);
    rest_ = rest_.subspan(1 + size);
    return address;
}

std::uint16_t TallyKeyParts::port() {
    if (rest_.size() < 2)
        return 0;
    const auto port = static_cast<std::uint16_t>(rest_[0] << 8 | rest_[1]);
    rest_ = rest_.subspan(2);
    return port;
}

void RunWriter::add(const TallyKey& key, std::int64_t count) {
    if (key != pending_) {
        write();
        pending_ = key;
    }
    pendingCount_ += count;
}

void RunWriter::write() {
    const std::int64_t count = std::exchange(pendingCount_, 0);
    if (count == 0)
        return;
    const auto key = pending_.bytes();
    const auto before = written_.bytes();
    const auto shared =
        static_cast<std::size_t>(std::ranges::mismatch(key, before).in1 - key.begin());
    auto& data = run_.data;
    data.push_back(static_cast<std::uint8_t>(shared));
    data.push_back(static_cast<std::uint8_t>(key.size() - shared));
    data.insert(data.end(), key.begin() + static_cast<std::ptrdiff_t>(shared), key.end());
    std::uint64_t bits = withSignLast(count);
    for (; bits >= 0x80; bits >>= 7)
        data.push_back(static_cast<std::uint8_t>(bits | 0x80));
    data.push_back(static_cast<std::uint8_t>(bits));
    written_ = pending_;
    ++run_.entries;
}

TallyRun RunWriter::take() {
    write();
    written_ = pending_ = TallyKey();
    return std::exchange(run_, TallyRun());
}

std::uint8_t RunReader::byte() {
    if (rest_.empty())
        damaged();
    const std::uint8_t first = rest_[0];
    rest_ = rest_.subspan(1);
    return first;
}

bool RunReader::next() {
    if (rest_.empty())
        return false;
    const std::size_t shared = byte();
    const std::size_t own = byte();
    if (shared > key_.size_ || shared + own > TallyKey::kLongest || own > rest_.size())
        damaged();
    std::memcpy(key_.bytes_.data() + shared, rest_.data(), own);
    key_.size_ = static_cast<std::uint8_t>(shared + own);
    rest_ = rest_.subspan(own);
    std::uint64_t bits = 0;
    for (unsigned shift = 0;; shift += 7) {
        const std::uint8_t group = byte();
        if (shift > 63)
            damaged();
        bits |= std::uint64_t{group & 0x7fu} << shift;
        if (group < 0x80)
            break;
    }
    count_ = fromSignLast(bits);
    return true;
}

TallyRun mergeRuns(std::span<const std::vector<std::uint8_t>> runs) {
    std::vector<RunReader> heap;
    const auto later = [](const RunReader& a, const RunReader& b) { return a.key() > b.key(); };
    for (const auto& run : runs)
        if (RunReader reader(run); reader.next())
            heap.push_back(reader);
    std::ranges::make_heap(heap, later);
    RunWriter merged;
    while (!heap.empty()) {
        std::ranges::pop_heap(heap, later);
        merged.add(heap.back().key(), heap.back().count());
        if (heap.back().next())
            std::ranges::push_heap(heap, later);
        else
            heap.pop_back();
    }
    return merged.take();
}

} // namespace brindle::tallyd
