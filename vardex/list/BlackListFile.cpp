// SPDX-License-Identifier: BSD-2-Clause
#include "vardex/list/BlackListFile.h"

#include "platform/defaults/FileReplacement.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include <pwd.h>
#include <unistd.h>

namespace brindle::vardex {
namespace {

namespace fs = std::filesystem;
using platform::FileLock;

/// Enough for one a day of a very bad disk; then the file stays where it is.
constexpr int kMostSetAside = 1000;

std::string homeDirectory() {
    if (const char* home = std::getenv("HOME"); home != nullptr && home[0] == '/')
        return home;
    const passwd* account = getpwuid(getuid());
    return account == nullptr ? "/" : account->pw_dir;
}

std::string lockPath(const std::string& path) {
    return path + ".lock";
}

} // namespace

std::string BlackListFile::standardPath() {
    const char* data = std::getenv("XDG_DATA_HOME");
    const std::string folder =
        data != nullptr && data[0] == '/' ? data : homeDirectory() + "/.local/share";
    return folder + "/org.vardex.Vardex/blacklist";
}

tl::expected<std::string, std::string> BlackListFile::setAside(const std::string* bytes) const {
    for (int number = 1; number <= kMostSetAside; ++number) {
        const std::string aside = path_ + ".unreadable-" + std::to_string(number);
        std::error_code error;
        if (fs::exists(fs::symlink_status(aside, error)))
            continue;
        // A copy, where its bytes are known: at no moment is the list without a file.
        if (bytes != nullptr) {
            if (const auto copied = platform::replaceFile(aside, *bytes); !copied)
                return tl::unexpected(copied.error());
            return aside;
        }
        fs::rename(path_, aside, error);
        if (error)
            return tl::unexpected(path_ + ": " + error.message());
        return aside;
    }
    return tl::unexpected(path_ + ": too many files were set aside already");
}

BlackListFile::Loaded BlackListFile::loadLocked() const {
    const auto bytes = platform::readWholeFile(path_);
    Loaded loaded;
    if (!bytes && bytes.error() == std::errc::no_such_file_or_directory)
        return loaded;
    ReadList read;
    if (bytes)
        read = readFileText(*bytes);
    loaded.state.list = std::move(read.list);
    if (bytes && read.unreadableLines == 0)
        return loaded;

    const std::string what =
        bytes ? std::to_string(read.unreadableLines) + " lines of the black list could not be read"
              : "the black list could not be read: " + bytes.error().message();
    const auto aside = setAside(bytes ? &*bytes : nullptr);
    if (!aside) {
        loaded.mayReplace = false;
        loaded.state.warning = what + "; changes are not saved: " + aside.error();
        return loaded;
    }
    loaded.state.warning = what + "; it was set aside as " + *aside;
    // So that the same lines are not set aside again each time.
    if (const auto saved = platform::replaceFile(path_, fileText(loaded.state.list)); !saved)
        loaded.state.warning += "; " + saved.error();
    return loaded;
}

BlackListFile::State BlackListFile::load() const {
    std::error_code none;
    if (!fs::exists(fs::symlink_status(path_, none)))
        return {};
    const FileLock lock(lockPath(path_), FileLock::Patience::patient);
    return loadLocked().state;
}

BlackListFile::State BlackListFile::update(const std::function<void(BlackList&)>& change) const {
    std::error_code error;
    const fs::path folder = fs::path(path_).parent_path();
    fs::create_directories(folder, error);
    const FileLock lock(lockPath(path_), FileLock::Patience::patient);
    Loaded loaded = loadLocked();
    const BlackList before = loaded.state.list;
    change(loaded.state.list);
    if (!loaded.mayReplace || loaded.state.list == before)
        return std::move(loaded.state);
    if (!lock.isHeld()) {
        loaded.state.warning = "the black list is not saved: its file is locked or read-only";
        return std::move(loaded.state);
    }
    if (const auto saved = platform::replaceFile(path_, fileText(loaded.state.list)); !saved)
        loaded.state.warning = "the black list is not saved: " + saved.error();
    return std::move(loaded.state);
}

} // namespace brindle::vardex
