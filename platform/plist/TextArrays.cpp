// SPDX-License-Identifier: BSD-2-Clause
#include "platform/plist/TextArrays.h"

#include "platform/plist/LibraryNode.h"
#include "platform/plist/PlainXml.h"

#include <cstdio>
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

/// Nothing when the file cannot be read or is anything but plain.
std::optional<TextArrays> plainXmlFile(const std::string& path) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rbe"),
                                                               &std::fclose);
    if (!file)
        return std::nullopt;
    auto lists = parsePlainXml(
        [&file](char* to, std::size_t room) { return std::fread(to, 1, room, file.get()); });
    return std::ferror(file.get()) ? std::nullopt : std::move(lists);
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
    if (auto lists = plainXmlFile(path))
        return lists;
    const auto bytes = readListFile(path);
    if (!bytes)
        return tl::unexpected(path + ": " + bytes.error());
    const auto root = parseLibraryNode(*bytes);
    if (!root)
        return tl::unexpected(path + ": " + root.error());
    return listsFromNode(root->get());
}

} // namespace brindle::platform
