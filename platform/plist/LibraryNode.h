// SPDX-License-Identifier: BSD-2-Clause
//
// What this folder's readers share: a file's bytes, and the tree of nodes that the property-list
// library makes of them. For this folder alone, so that nobody else meets the library. Pure
// functions; any thread.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include <plist/plist.h>
#include <tl/expected.hpp>

namespace brindle::platform {

struct LibraryNodeFree {
    void operator()(void* node) const { plist_free(node); }
};
/// A tree of nodes by its root.
using LibraryNode = std::unique_ptr<void, LibraryNodeFree>;

/// XML or binary, found out from the bytes; never null. The error is one line without the name of a
/// file.
tl::expected<LibraryNode, std::string> parseLibraryNode(std::string_view bytes);

/// The whole file. The error says why, without the file's name.
tl::expected<std::string, std::string> readListFile(const std::string& path);

} // namespace brindle::platform
