// SPDX-License-Identifier: BSD-2-Clause
//
// Where the black list is kept: one small text file of the user's, replaced as a whole, so that it
// is never half written. What cannot be read of it is set aside, never overwritten. Waits for the
// disk: not for the main thread.
//
//     BlackListFile file(BlackListFile::standardPath());
//     const auto state = file.update([&](BlackList& list) { removeBlocks(list, blocks); });
#pragma once

#include "vardex/list/BlackList.h"

#include <functional>
#include <string>

#include <tl/expected.hpp>

namespace brindle::vardex {

class BlackListFile {
  public:
    /// org.vardex.Vardex/blacklist in $XDG_DATA_HOME or, where that is not an absolute path, in
    /// ~/.local/share.
    static std::string standardPath();

    explicit BlackListFile(std::string path) : path_(std::move(path)) {}

    struct State {
        BlackList list;
        std::string warning; ///< one line for the user; empty when all is well
    };

    /// What the file holds; empty when there is none. An unreadable file, or one with lines that
    /// cannot be read, is kept under another name, which the warning tells.
    State load() const;

    /// Changes what the file holds now. The list is the changed one even when the warning says that
    /// it could not be saved; the file is then as it was.
    State update(const std::function<void(BlackList&)>& change) const;

  private:
    struct Loaded {
        State state;
        bool mayReplace = true; ///< nothing would be lost by replacing the file
    };
    Loaded loadLocked() const;
    tl::expected<std::string, std::string> setAside(const std::string* bytes) const;

    const std::string path_;
};

} // namespace brindle::vardex
