// SPDX-License-Identifier: BSD-2-Clause
//
// The user's defaults: one property list whose root is a dictionary of keys. Several programs of
// the same user may share it; a change reads the file anew under a lock and replaces it whole, so
// that no reader ever sees half of it and keys of others survive. Owns no thread: `update` waits
// for the disk and is called off the main thread. Any thread; instances on the same file do not
// disturb each other.
//
//     DefaultsFile defaults(DefaultsFile::standardPath());
//     auto value = defaults.read("Key");
#pragma once

#include "platform/plist/PropertyList.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include <tl/expected.hpp>

namespace brindle::platform {

class DefaultsFile {
  public:
    /// $BRINDLE_DEFAULTS, else org.vardex.Brindle/defaults.plist in $XDG_CONFIG_HOME or, where that
    /// is not an absolute path, in ~/.config.
    static std::string standardPath();

    explicit DefaultsFile(std::string path) : path_(std::move(path)) {}

    const std::string& path() const { return path_; }

    /// The value of a key; nothing when there is no such key or file. A file that cannot be parsed
    /// is set aside under another name, told in one line on standard error, and read as empty.
    std::optional<PropertyList> read(std::string_view key) const;

    /// Makes a value from the stored one (null when there is none).
    using Change = std::function<PropertyList(const PropertyList* stored)>;

    /// Replaces the value of a key by what `change` makes of the value that the file holds now.
    /// On return the file is on the disk; after an error it is as it was. A value equal to the
    /// stored one is not written. The error is one line.
    tl::expected<void, std::string> update(std::string_view key, const Change& change) const;

  private:
    std::string path_;
};

} // namespace brindle::platform
