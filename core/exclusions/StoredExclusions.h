// SPDX-License-Identifier: BSD-2-Clause
//
// The stored form of the exclusion list: an array of dictionaries with the keys "type",
// "exclusion", "lrange", "hrange" (texts) and "version" (integer), and the storage that keeps it
// under "VDXExclusion" in the user's defaults file.
#pragma once

#include "core/exclusions/ExclusionStorage.h"
#include "platform/defaults/DefaultsFile.h"
#include "platform/plist/PropertyList.h"
#include "platform/queue/DispatchQueue.h"

#include <memory>
#include <optional>
#include <vector>

namespace brindle {

platform::PropertyList storedExclusions(const std::vector<VDXExclusion>& exclusionList);

/// Missing or mistyped texts are empty, a missing or mistyped version is 4. Nothing when the value
/// is not an array of dictionaries.
std::optional<std::vector<VDXExclusion>> exclusionsFromStored(const platform::PropertyList& stored);

/// Writes on a queue of its own, in the order of the changes; a failed write is told in one line on
/// standard error and made good by the next one. Used from the main thread; what was handed in is
/// written before the queue is gone.
class DefaultsExclusionStorage final : public ExclusionStorage {
  public:
    /// `writer` is serial; `main` is the main thread's.
    DefaultsExclusionStorage(platform::DefaultsFile defaults,
                             std::shared_ptr<platform::DispatchQueue> writer,
                             std::shared_ptr<platform::DispatchQueue> main);

    std::vector<VDXExclusion> read() override;
    void store(ExclusionChange change, std::vector<VDXExclusion> after,
               std::function<void(std::vector<VDXExclusion>)> stored) override;

  private:
    /// What lives on the writer's queue.
    struct Writer;

    platform::DefaultsFile defaults_;
    std::shared_ptr<platform::DispatchQueue> queue_;
    std::shared_ptr<platform::DispatchQueue> main_;
    std::shared_ptr<Writer> writer_;
};

} // namespace brindle
