// SPDX-License-Identifier: BSD-2-Clause
#include "core/annotate/PortNameTable.h"

#include "platform/plist/PropertyList.h"

namespace brindle {

tl::expected<std::unordered_map<std::string, std::string>, std::string>
loadPortNames(std::string_view propertyList) {
    const auto list = platform::parsePropertyList(propertyList);
    if (!list)
        return tl::unexpected(list.error());
    std::unordered_map<std::string, std::string> names;
    const auto* dictionary = list->asDictionary();
    if (!dictionary)
        return names;
    names.reserve(dictionary->size());
    for (const auto& [port, name] : *dictionary) {
        const std::string* text = name.asString();
        if (!text) // not from text to text: no table at all
            return std::unordered_map<std::string, std::string>();
        names.emplace(port, *text);
    }
    return names;
}

} // namespace brindle
