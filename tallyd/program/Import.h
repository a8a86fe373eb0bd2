// SPDX-License-Identifier: BSD-2-Clause
//
// `tallyd import`: reads inputs from their beginning to their end into a store. Decoding happens on
// the calling thread while the intake's writer stores what was decoded before.
#pragma once

#include "tallyd/sources/InputFile.h"
#include "tallyd/store/Store.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <tl/expected.hpp>

namespace brindle::tallyd {

using OpenInput =
    std::function<tl::expected<std::unique_ptr<InputFile>, std::string>(const std::string& path)>;

struct ImportReport {
    std::uint64_t imported = 0;
    std::map<std::string, std::uint64_t> skipped; ///< by reason, all inputs
    std::vector<std::string>
        problems;           ///< one line for each input that could not be read to its end
    std::string storeError; ///< one line when the store lost records or the disk refused

    std::uint64_t skippedCount() const;
    /// 0, 3 when an input had a problem, 1 when the store had one.
    int exitStatus() const;
    /// "imported N records, skipped M", and a line for each reason.
    std::string text() const;
};

/// What could be read is stored, and on the disk, when this returns.
ImportReport importInputs(std::unique_ptr<StoreWriter> writer,
                          const std::vector<std::string>& inputs, const OpenInput& open);

} // namespace brindle::tallyd
