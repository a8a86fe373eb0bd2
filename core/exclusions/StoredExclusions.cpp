// SPDX-License-Identifier: BSD-2-Clause
#include "core/exclusions/StoredExclusions.h"

#include <cstdio>
#include <string>
#include <utility>

namespace brindle {

using platform::PropertyList;

namespace {

constexpr std::string_view kDefaultsKey = "VDXExclusion";

std::string textOf(const PropertyList& dictionary, std::string_view key) {
    const PropertyList* value = dictionary.find(key);
    const std::string* text = value ? value->asString() : nullptr;
    return text ? *text : std::string();
}

} // namespace

PropertyList storedExclusions(const std::vector<VDXExclusion>& exclusionList) {
    PropertyList::Array array;
    array.reserve(exclusionList.size());
    for (const VDXExclusion& entry : exclusionList)
        array.emplace_back(PropertyList::Dictionary{{"type", entry.type},
                                                    {"exclusion", entry.exclusion},
                                                    {"lrange", entry.lrange},
                                                    {"hrange", entry.hrange},
                                                    {"version", entry.versionIP}});
    return array;
}

std::optional<std::vector<VDXExclusion>> exclusionsFromStored(const PropertyList& stored) {
    const PropertyList::Array* array = stored.asArray();
    if (!array)
        return std::nullopt;
    std::vector<VDXExclusion> exclusionList;
    exclusionList.reserve(array->size());
    for (const PropertyList& item : *array) {
        if (!item.asDictionary())
            return std::nullopt;
        VDXExclusion entry;
        entry.type = textOf(item, "type");
        entry.exclusion = textOf(item, "exclusion");
        entry.lrange = textOf(item, "lrange");
        entry.hrange = textOf(item, "hrange");
        const PropertyList* version = item.find("version");
        entry.versionIP = version && version->asInteger() ? *version->asInteger() : 4;
        exclusionList.push_back(std::move(entry));
    }
    return exclusionList;
}

struct DefaultsExclusionStorage::Writer {
    explicit Writer(platform::DefaultsFile file) : defaults(std::move(file)) {}

    /// The list as the file holds it now; nothing when it could not be written.
    std::optional<std::vector<VDXExclusion>> write(ExclusionChange change,
                                                   const std::vector<VDXExclusion>& after) {
        unsaved.push_back(std::move(change));
        std::vector<VDXExclusion> merged;
        const auto result = defaults.update(kDefaultsKey, [&](const PropertyList* stored) {
            auto theirs = stored ? exclusionsFromStored(*stored) : std::nullopt;
            if (theirs) {
                merged = std::move(*theirs);
                for (const ExclusionChange& each : unsaved)
                    each.applyTo(merged);
            } else {
                merged = after;
            }
            return storedExclusions(merged);
        });
        if (!result) {
            std::fprintf(stderr, "exclusions not stored: %s\n", result.error().c_str());
            return std::nullopt;
        }
        unsaved.clear();
        return merged;
    }

    platform::DefaultsFile defaults;
    std::vector<ExclusionChange> unsaved; ///< of writes that failed, oldest first
};

DefaultsExclusionStorage::DefaultsExclusionStorage(platform::DefaultsFile defaults,
                                                   std::shared_ptr<platform::DispatchQueue> writer,
                                                   std::shared_ptr<platform::DispatchQueue> main)
    : defaults_(std::move(defaults)), queue_(std::move(writer)), main_(std::move(main)),
      writer_(std::make_shared<Writer>(defaults_)) {}

std::vector<VDXExclusion> DefaultsExclusionStorage::read() {
    const auto stored = defaults_.read(kDefaultsKey);
    auto exclusionList = stored ? exclusionsFromStored(*stored) : std::nullopt;
    return exclusionList ? std::move(*exclusionList) : std::vector<VDXExclusion>();
}

void DefaultsExclusionStorage::store(ExclusionChange change, std::vector<VDXExclusion> after,
                                     std::function<void(std::vector<VDXExclusion>)> stored) {
    queue_->async([writer = writer_, main = main_, change = std::move(change),
                   after = std::move(after), stored = std::move(stored)]() mutable {
        auto merged = writer->write(std::move(change), after);
        if (merged)
            main->async([merged = std::move(*merged), stored = std::move(stored)]() mutable {
                stored(std::move(merged));
            });
    });
}

} // namespace brindle
