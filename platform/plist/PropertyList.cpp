// SPDX-License-Identifier: BSD-2-Clause
#include "platform/plist/PropertyList.h"

#include "platform/plist/LibraryNode.h"

#include <cmath>
#include <cstdlib>
#include <limits>
#include <memory>

#include <plist/plist.h>

namespace brindle::platform {

PropertyList::PropertyList() = default;
PropertyList::PropertyList(Dictionary value) : value_(std::move(value)) {}
PropertyList::PropertyList(Array value) : value_(std::move(value)) {}
PropertyList::PropertyList(std::string value) : value_(std::move(value)) {}
PropertyList::PropertyList(const char* value) : value_(std::string(value)) {}
PropertyList::PropertyList(std::int64_t value) : value_(value) {}
PropertyList::PropertyList(double value) : value_(value) {}
PropertyList::PropertyList(bool value) : value_(value) {}
PropertyList::PropertyList(Date value) : value_(value) {}
PropertyList::PropertyList(Data value) : value_(std::move(value)) {}
PropertyList::PropertyList(const PropertyList& other) = default;
PropertyList::PropertyList(PropertyList&& other) noexcept = default;
PropertyList& PropertyList::operator=(const PropertyList& other) = default;
PropertyList& PropertyList::operator=(PropertyList&& other) noexcept = default;
PropertyList::~PropertyList() = default;

const PropertyList* PropertyList::find(std::string_view key) const {
    if (const auto* dictionary = asDictionary())
        for (const Entry& entry : *dictionary)
            if (entry.key == key)
                return &entry.value;
    return nullptr;
}

void PropertyList::set(std::string_view key, PropertyList value) {
    auto* dictionary = std::get_if<Dictionary>(&value_);
    if (!dictionary)
        dictionary = &value_.emplace<Dictionary>();
    for (Entry& entry : *dictionary) {
        if (entry.key == key) {
            entry.value = std::move(value);
            return;
        }
    }
    dictionary->push_back({std::string(key), std::move(value)});
}

bool operator==(const PropertyList& a, const PropertyList& b) {
    return a.value_ == b.value_;
}

namespace {

using Result = tl::expected<PropertyList, std::string>;

/// Dates of the library count from the start of 2001.
constexpr double kDateOrigin = 978307200;
/// Deeper nesting than any real list; bounds our own recursion.
constexpr int kMaxDepth = 512;

struct BufferFree {
    void operator()(void* buffer) const { std::free(buffer); }
};
template <typename T>
using Buffer = std::unique_ptr<T, BufferFree>;

Result fromNode(plist_t node, int depth);

Result arrayFromNode(plist_t node, int depth) {
    PropertyList::Array array;
    array.reserve(plist_array_get_size(node));
    plist_array_iter position = nullptr;
    plist_array_new_iter(node, &position);
    const Buffer<void> owner(position);
    for (;;) {
        plist_t item = nullptr;
        plist_array_next_item(node, position, &item);
        if (!item)
            return array;
        auto value = fromNode(item, depth + 1);
        if (!value)
            return value;
        array.push_back(std::move(*value));
    }
}

Result dictionaryFromNode(plist_t node, int depth) {
    PropertyList::Dictionary dictionary;
    dictionary.reserve(plist_dict_get_size(node));
    plist_dict_iter position = nullptr;
    plist_dict_new_iter(node, &position);
    const Buffer<void> owner(position);
    for (;;) {
        plist_t item = nullptr;
        char* key = nullptr;
        plist_dict_next_item(node, position, &key, &item);
        const Buffer<char> keyOwner(key);
        if (!item)
            return dictionary;
        auto value = fromNode(item, depth + 1);
        if (!value)
            return value;
        dictionary.push_back({key ? key : "", std::move(*value)});
    }
}

Result fromNode(plist_t node, int depth) {
    if (depth > kMaxDepth)
        return tl::unexpected(std::string("property list is nested too deeply"));
    switch (plist_get_node_type(node)) {
    case PLIST_DICT:
        return dictionaryFromNode(node, depth);
    case PLIST_ARRAY:
        return arrayFromNode(node, depth);
    case PLIST_STRING: {
        std::uint64_t length = 0;
        const char* text = plist_get_string_ptr(node, &length);
        return PropertyList(text ? std::string(text, length) : std::string());
    }
    case PLIST_BOOLEAN: {
        std::uint8_t value = 0;
        plist_get_bool_val(node, &value);
        return PropertyList(value != 0);
    }
    case PLIST_UINT: {
        std::uint64_t value = 0;
        plist_get_uint_val(node, &value);
        return PropertyList(static_cast<std::int64_t>(value));
    }
    case PLIST_UID: {
        std::uint64_t value = 0;
        plist_get_uid_val(node, &value);
        return PropertyList(static_cast<std::int64_t>(value));
    }
    case PLIST_REAL: {
        double value = 0;
        plist_get_real_val(node, &value);
        return PropertyList(value);
    }
    case PLIST_DATE: {
        std::int32_t seconds = 0;
        std::int32_t micros = 0;
        plist_get_date_val(node, &seconds, &micros);
        return PropertyList(PropertyList::Date{kDateOrigin + seconds + micros / 1e6});
    }
    case PLIST_DATA: {
        std::uint64_t length = 0;
        const char* bytes = plist_get_data_ptr(node, &length);
        PropertyList::Data data;
        if (bytes)
            data.assign(bytes, bytes + length);
        return PropertyList(std::move(data));
    }
    default:
        return tl::unexpected(std::string("property list holds a value of an unknown type"));
    }
}

plist_t makeNode(const PropertyList& value) {
    if (const auto* dictionary = value.asDictionary()) {
        plist_t node = plist_new_dict();
        for (const auto& [key, item] : *dictionary)
            plist_dict_set_item(node, key.c_str(), makeNode(item));
        return node;
    }
    if (const auto* array = value.asArray()) {
        plist_t node = plist_new_array();
        for (const PropertyList& item : *array)
            plist_array_append_item(node, makeNode(item));
        return node;
    }
    if (const auto* text = value.asString())
        return plist_new_string(text->c_str());
    if (const auto* integer = value.asInteger())
        return plist_new_uint(static_cast<std::uint64_t>(*integer));
    if (const auto* real = value.asReal())
        return plist_new_real(*real);
    if (const auto* boolean = value.asBoolean())
        return plist_new_bool(*boolean ? 1 : 0);
    if (const auto* date = value.asDate()) {
        constexpr std::int32_t kFarthest = std::numeric_limits<std::int32_t>::max();
        const double seconds = std::floor(date->epoch - kDateOrigin);
        // Also holds what is not a number at all.
        const bool fits = seconds >= -kFarthest && seconds <= kFarthest;
        return plist_new_date(fits ? static_cast<std::int32_t>(seconds) : 0, 0);
    }
    const PropertyList::Data& data = *value.asData();
    return plist_new_data(reinterpret_cast<const char*>(data.data()), data.size());
}

} // namespace

Result parsePropertyList(std::string_view bytes) {
    const auto root = parseLibraryNode(bytes);
    if (!root)
        return tl::unexpected(root.error());
    return fromNode(root->get(), 0);
}

Result readPropertyList(const std::string& path) {
    const auto failure = [&path](const std::string& why) {
        return tl::unexpected(path + ": " + why);
    };
    const auto bytes = readListFile(path);
    if (!bytes)
        return failure(bytes.error());
    auto list = parsePropertyList(*bytes);
    if (!list)
        return failure(list.error());
    return list;
}

std::string propertyListXml(const PropertyList& list) {
    const LibraryNode node(makeNode(list));
    char* xml = nullptr;
    std::uint32_t length = 0;
    plist_to_xml(node.get(), &xml, &length);
    const std::unique_ptr<char, decltype(&plist_to_xml_free)> owner(xml, &plist_to_xml_free);
    return xml ? std::string(xml, length) : std::string();
}

} // namespace brindle::platform
