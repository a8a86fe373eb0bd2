// SPDX-License-Identifier: BSD-2-Clause
//
// Where the exclusion list is kept between sessions, as the list sees it. Several viewers of one
// user may share the store, so a change travels as what it changes: entries that another viewer
// added stay and those that it removed stay away.
#pragma once

#include "core/exclusions/VDXExclusion.h"

#include <functional>
#include <string>
#include <vector>

namespace brindle {

struct ExclusionChange {
    std::vector<VDXExclusion> added;  ///< appended, in this order
    std::vector<std::string> removed; ///< every entry with one of these `exclusion` texts goes

    void applyTo(std::vector<VDXExclusion>& exclusionList) const;
};

/// Called on the main thread.
class ExclusionStorage {
  public:
    virtual ~ExclusionStorage() = default;

    /// The stored list; empty when there is none or it is not of the right shape.
    virtual std::vector<VDXExclusion> read() = 0;

    /// Stores a change and returns at once. `after`: the caller's whole list after the change,
    /// which is stored as it is when the store holds none. Once it is stored, `stored` gets the
    /// whole list as the store holds it now, on the main thread; after a failure it is not called,
    /// and the change goes along with the next one.
    virtual void store(ExclusionChange change, std::vector<VDXExclusion> after,
                       std::function<void(std::vector<VDXExclusion>)> stored) = 0;
};

} // namespace brindle
