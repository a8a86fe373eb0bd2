// SPDX-License-Identifier: BSD-2-Clause
//
// Remembers a number for each address text of a run, however many there are. Dotted quads in their
// one canonical form, which nearly all texts are, take eight bytes a place instead of a text; any
// other text is kept as it is. Only grows. Not for several threads at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace brindle {

class AnswerCache {
  public:
    /// What was stored under the text; nothing before that.
    std::optional<std::uint32_t> find(std::string_view text) const;

    /// `answer`: below 2^32 - 1. The first answer stored under a text stays.
    void store(std::string_view text, std::uint32_t answer);

  private:
    static constexpr std::uint32_t kFree = std::numeric_limits<std::uint32_t>::max();
    struct Place {
        std::uint32_t address = 0;
        std::uint32_t answer = kFree;
    };
    /// The place of an address, or the free one where it belongs.
    std::size_t placeOf(std::uint32_t address) const;
    void grow();

    struct TextHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const {
            return std::hash<std::string_view>()(text);
        }
    };

    std::vector<Place> places_; ///< empty, or a power of two of which at most half are taken
    std::size_t taken_ = 0;
    std::unordered_map<std::string, std::uint32_t, TextHash, std::equal_to<>> others_;
};

} // namespace brindle
