// SPDX-License-Identifier: BSD-2-Clause
#include "platform/defaults/DefaultsFile.h"

#include "platform/defaults/FileReplacement.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include <pwd.h>
#include <unistd.h>

namespace brindle::platform {
namespace {

namespace fs = std::filesystem;
using Root = tl::expected<PropertyList, std::string>;

std::string homeFolder() {
    if (const char* home = std::getenv("HOME"); home && *home == '/')
        return home;
    const passwd* account = getpwuid(getuid());
    return account && account->pw_dir ? account->pw_dir : "/";
}

/// The dictionary in the file; an empty one when there is no file. Nothing when there is a file
/// that holds no dictionary or may not be read.
std::optional<Root> readRoot(const std::string& path) {
    std::error_code problem;
    if (fs::status(path, problem).type() == fs::file_type::not_found)
        return PropertyList();
    if (!fs::is_regular_file(path, problem))
        return tl::unexpected(path + ": not a regular file");
    auto bytes = readWholeFile(path);
    if (!bytes) {
        if (bytes.error() == std::errc::permission_denied)
            return std::nullopt;
        return tl::unexpected(path + ": " + bytes.error().message());
    }
    auto root = parsePropertyList(*bytes);
    if (!root || !root->asDictionary())
        return std::nullopt;
    return root;
}

/// Moves a file that cannot be used out of the way. The error is one line.
tl::expected<void, std::string> setAside(const std::string& path) {
    std::error_code problem;
    std::string aside = path + ".unreadable";
    for (int number = 2; fs::exists(fs::symlink_status(aside, problem)); ++number)
        aside = path + ".unreadable-" + std::to_string(number);
    fs::rename(path, aside, problem);
    if (problem)
        return tl::unexpected(path + ": not readable as a property list, and not to be renamed: " +
                              problem.message());
    std::fprintf(stderr, "%s: not readable as a property list, set aside as %s\n", path.c_str(),
                 aside.c_str());
    return {};
}

/// The dictionary in the file, under its lock; a file that cannot be used is set aside first.
Root usableRoot(const std::string& path) {
    if (auto root = readRoot(path))
        return std::move(*root);
    if (auto moved = setAside(path); !moved)
        return tl::unexpected(moved.error());
    return PropertyList();
}

/// Replacing a link would cut the user's file off from where he keeps it.
std::string linkTarget(const std::string& path) {
    std::error_code problem;
    const fs::path target = fs::weakly_canonical(path, problem);
    return problem ? path : target.string();
}

} // namespace

std::string DefaultsFile::standardPath() {
    if (const char* path = std::getenv("BRINDLE_DEFAULTS"); path && *path)
        return path;
    const char* config = std::getenv("XDG_CONFIG_HOME");
    const std::string folder = config && *config == '/' ? config : homeFolder() + "/.config";
    return folder + "/org.vardex.Brindle/defaults.plist";
}

std::optional<PropertyList> DefaultsFile::read(std::string_view key) const {
    const std::string target = linkTarget(path_);
    auto root = readRoot(target);
    if (!root) {
        // Another program may be mending it this moment: look again before moving anything.
        const FileLock lock(target + ".lock", FileLock::Patience::brief);
        root = usableRoot(target);
    }
    if (!*root) {
        std::fprintf(stderr, "%s\n", root->error().c_str());
        return std::nullopt;
    }
    const PropertyList* value = (*root)->find(key);
    return value ? std::optional(*value) : std::nullopt;
}

tl::expected<void, std::string> DefaultsFile::update(std::string_view key,
                                                     const Change& change) const {
    const std::string target = linkTarget(path_);
    std::error_code problem;
    const fs::path folder = fs::path(target).parent_path();
    if (!folder.empty() && !fs::exists(folder, problem)) {
        fs::create_directories(folder, problem);
        if (problem)
            return tl::unexpected(folder.string() + ": " + problem.message());
        fs::permissions(folder, fs::perms::owner_all, problem); // nobody else's business
    }
    // Without the lock (a program that holds it was stopped) the user's change still counts more
    // than the small chance of losing one that another program makes in this very moment.
    const FileLock lock(target + ".lock", FileLock::Patience::patient);
    auto root = usableRoot(target);
    if (!root)
        return tl::unexpected(root.error());
    const PropertyList* stored = root->find(key);
    PropertyList value = change(stored);
    if (stored && *stored == value)
        return {};
    root->set(key, std::move(value));
    return replaceFile(target, propertyListXml(*root));
}

} // namespace brindle::platform
