// SPDX-License-Identifier: BSD-2-Clause
//
// How tallies are written down: a run is a sorted list of keys with a count each, packed into one
// blob. A key is a row of addresses and ports in a form whose bytes order as the values do, so that
// runs are merged without knowing what their keys mean. Counts may be negative: a run that takes
// back what another one told. Plain values; any thread.
//
//     RunWriter writer;
//     writer.add(TallyKey().add(address).add(port), 3);       // keys in ascending order
//     for (RunReader reader(writer.take().data); reader.next();)
//         use(reader.key(), reader.count());
#pragma once

#include "core/net/IpAddress.h"

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

namespace brindle::tallyd {

/// An address takes 1 byte (its family) and its own 0, 4 or 16; a port takes 2, most significant
/// first.
class TallyKey {
  public:
    static constexpr std::size_t kLongest = 17 + 17 + 2;

    TallyKey& add(const IpAddress& address);
    TallyKey& add(std::uint16_t port);

    std::span<const std::uint8_t> bytes() const { return {bytes_.data(), size_}; }

    friend std::strong_ordering operator<=>(const TallyKey& a, const TallyKey& b);
    friend bool operator==(const TallyKey& a, const TallyKey& b) { return (a <=> b) == 0; }

  private:
    friend class RunReader;

    std::array<std::uint8_t, kLongest> bytes_{};
    std::uint8_t size_ = 0;
};

/// Takes a key apart, in the order in which it was put together. What is not there reads as no
/// address and as port 0.
class TallyKeyParts {
  public:
    explicit TallyKeyParts(std::span<const std::uint8_t> key) : rest_(key) {}
    IpAddress address() { return IpAddress::fromBytes(addressBytes()); }
    std::span<const std::uint8_t> addressBytes();
    std::uint16_t port();

  private:
    std::span<const std::uint8_t> rest_;
};

struct TallyRun {
    std::vector<std::uint8_t> data;
    std::size_t entries = 0;
};

class RunWriter {
  public:
    /// Keys come in ascending order; equal ones are added up, and none is written whose count is 0.
    void add(const TallyKey& key, std::int64_t count);
    /// Keys written so far, the last one aside.
    std::size_t entries() const { return run_.entries; }
    /// What was written; the writer begins anew.
    TallyRun take();

  private:
    void write();

    TallyRun run_;
    TallyKey written_; ///< the last key in the run
    TallyKey pending_;
    std::int64_t pendingCount_ = 0;
};

/// Throws sqlite::Error where the bytes are no run: the store is damaged.
class RunReader {
  public:
    /// `data` outlives the reader.
    explicit RunReader(std::span<const std::uint8_t> data) : rest_(data) {}

    /// Goes to the next entry; false at the end.
    bool next();
    const TallyKey& key() const { return key_; }
    std::int64_t count() const { return count_; }

  private:
    std::uint8_t byte();

    std::span<const std::uint8_t> rest_;
    TallyKey key_;
    std::int64_t count_ = 0;
};

/// All entries of the runs in one, counts of equal keys added up.
TallyRun mergeRuns(std::span<const std::vector<std::uint8_t>> runs);

} // namespace brindle::tallyd
