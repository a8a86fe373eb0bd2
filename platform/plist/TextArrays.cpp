// SPDX-License-Identifier: BSD-2-Clause
#include "platform/plist/TextArrays.h"

#include "platform/plist/LibraryNode.h"
#include "platform/plist/PlainXml.h"

#include <cstdlib>
#include <memory>

namespace brindle::platform {
namespace {

struct BufferFree {
    void operator()(void* buffer) const { std::free(buffer); }
};
template <typename T>
using Buffer = std::unique_ptr<T, BufferFree>;

std::optional<TextArray> textsFromNode(plist_t node) {
    if (plist_get_node_type(node) != PLIST_ARRAY)
        return std::nullopt;
    TextArray texts;
    plist_array_iter position = nullptr;
    plist_array_new_iter(node, &position);
    const Buffer<void> owner(position);
    for (;;) {
        plist_t item = nullptr;
        plist_array_next_item(node, position, &item);
        if (!item)
            return texts;
        if (plist_get_node_type(item) != PLIST_STRING)
            return std::nullopt;
        std::uint64_t length = 0;
        const char* text = plist_get_string_ptr(item, &length);
        texts.push_back(text ? std::string_view(text, length) : std::string_view());
    }
}

std::optional<TextArrays> listsFromNode(plist_t root) {
    if (plist_get_node_type(root) != PLIST_DICT)
        return std::nullopt;
    TextArraysMaker lists;
    plist_dict_iter position = nullptr;
    plist_dict_new_iter(root, &position);
    const Buffer<void> owner(position);
    for (;;) {
        plist_t item = nullptr;
        char* key = nullptr;
        plist_dict_next_item(root, position, &key, &item);
        const Buffer<char> keyOwner(key);
        if (!item)
            return std::move(lists).take();
        auto texts = textsFromNode(item);
        if (!texts)
            return std::nullopt;
        lists.add(key ? key : "", std::move(*texts));
    }
}

} // namespace

tl::expected<std::optional<TextArrays>, std::string> parseTextArrays(std::string_view bytes) {
    if (auto lists = parsePlainXml(bytes))
        return lists;
    const auto root = parseLibraryNode(bytes);
    if (!root)
        return tl::unexpected(root.error());
    return listsFromNode(root->get());
}

tl::expected<std::optional<TextArrays>, std::string> readTextArrays(const std::string& path) {
    const auto bytes = readWholeFile(path);
    if (!bytes)
        return tl::unexpected(path + ": " + bytes.error());
    auto lists = parseTextArrays(*bytes);
    if (!lists)
        return tl::unexpected(path + ": " + lists.error());
    return lists;
}

} // namespace brindle::platform
