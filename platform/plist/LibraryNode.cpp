// SPDX-License-Identifier: BSD-2-Clause
#include "platform/plist/LibraryNode.h"

#include "platform/plist/BinaryCheck.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <system_error>
#include <vector>

#include <fmt/format.h>

namespace brindle::platform {

namespace {

/// Far deeper than any real list, and far from where the library, which frees a tree by recursion,
/// would run out of stack.
constexpr int kMaxDepth = 4096;

/// Whether arrays and dictionaries stand within each other deeper than that in an XML text.
bool isTooDeep(std::string_view xml) {
    int depth = 0;
    for (std::size_t tag; (tag = xml.find('<')) != xml.npos;) {
        xml.remove_prefix(tag + 1);
        const bool closes = xml.starts_with('/');
        const std::string_view name = xml.substr(closes ? 1 : 0, 5);
        if (!name.starts_with("dict") && name != "array")
            continue;
        if (closes)
            --depth;
        else if (const auto end = xml.find('>'); end == 0 || end == xml.npos || xml[end - 1] != '/')
            ++depth;
        if (depth > kMaxDepth)
            return true;
    }
    return false;
}

} // namespace

tl::expected<LibraryNode, std::string> parseLibraryNode(std::string_view bytes) {
    if (bytes.size() > std::numeric_limits<std::uint32_t>::max())
        return tl::unexpected(std::string("property list is larger than 4 GiB"));
    if (bytes.starts_with("\xEF\xBB\xBF")) // a byte-order mark, which the library does not skip
        bytes.remove_prefix(3);
    const auto length = static_cast<std::uint32_t>(bytes.size());
    plist_t root = nullptr;
    if (bytes.starts_with("bplist0")) {
        if (const auto fault = binaryListFault(bytes, kMaxDepth))
            return tl::unexpected(fmt::format("property list: {}", *fault));
        plist_from_bin(bytes.data(), length, &root);
    } else if (isTooDeep(bytes))
        return tl::unexpected(std::string("property list is nested too deeply"));
    else
        plist_from_xml(bytes.data(), length, &root);
    if (!root)
        return tl::unexpected(std::string("not a property list"));
    return LibraryNode(root);
}

tl::expected<std::string, std::string> readListFile(const std::string& path) {
    const auto failure = [] { return tl::unexpected(std::generic_category().message(errno)); };
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rbe"),
                                                               &std::fclose);
    if (!file)
        return failure();
    std::string bytes;
    std::error_code unknown; // a pipe has no size; it is read all the same
    if (const auto size = std::filesystem::file_size(path, unknown); !unknown)
        bytes.reserve(size);
    std::vector<char> block(std::size_t{1} << 18);
    while (const std::size_t count = std::fread(block.data(), 1, block.size(), file.get()))
        bytes.append(block.data(), count);
    if (std::ferror(file.get()))
        return failure();
    return bytes;
}

} // namespace brindle::platform
