// SPDX-License-Identifier: BSD-2-Clause
//
// Interface names from kernel indexes, which is all that NFLOG records. Owned by one decoder, on
// its thread.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>

namespace brindle::tallyd {

class InterfaceNames {
  public:
    /// The name an index has at present; empty when there is no such interface.
    using Lookup = std::function<std::string(std::uint32_t index)>;

    /// Without a look-up (captures, whose interfaces may be another machine's) every name is "if7".
    explicit InterfaceNames(Lookup lookup = {}) : lookup_(std::move(lookup)) {}

    /// The look-up for live packets: the interfaces of this machine.
    static Lookup ofThisMachine();

    /// The present name, or "if7" for index 7 without one; empty for index 0. Asks again when the
    /// answer is a second of `timeMicros` old, so that a renamed or new interface is noticed.
    std::string name(std::uint32_t index, std::int64_t timeMicros);

  private:
    struct Known {
        std::string name;
        std::int64_t askedMicros = 0;
    };

    Lookup lookup_;
    std::unordered_map<std::uint32_t, Known> known_;
};

} // namespace brindle::tallyd
