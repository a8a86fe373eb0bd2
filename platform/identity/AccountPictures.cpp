// SPDX-License-Identifier: BSD-2-Clause
#include "platform/identity/AccountPictures.h"

#include <cerrno>
#include <fstream>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace brindle::platform {
namespace {

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r";
    const auto first = text.find_first_not_of(kBlanks);
    if (first == text.npos)
        return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/// The Icon entry of the group [User]; empty when there is none.
std::string iconEntry(const std::string& path) {
    std::ifstream file(path);
    bool inUser = false;
    for (std::string line; std::getline(file, line);) {
        const std::string_view text = trimmed(line);
        if (text.starts_with('[')) {
            inUser = text == "[User]";
        } else if (const auto equals = text.find('='); inUser && equals != text.npos) {
            if (trimmed(text.substr(0, equals)) == "Icon")
                return std::string(trimmed(text.substr(equals + 1)));
        }
    }
    return {};
}

/// A descriptor for the time of one reading.
class OpenFile {
  public:
    explicit OpenFile(const std::string& path)
        : descriptor_(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {}
    ~OpenFile() {
        if (descriptor_ >= 0)
            ::close(descriptor_);
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    int descriptor() const { return descriptor_; }

  private:
    int descriptor_;
};

} // namespace

std::vector<std::string> accountPictureFiles(const LocalAccount& account,
                                             const IdentityPaths& paths) {
    std::vector<std::string> files;
    if (!account.name.empty() && account.name.find('/') == account.name.npos) {
        const std::string icon = iconEntry(paths.accountsService + "/users/" + account.name);
        if (icon.starts_with('/'))
            files.push_back(icon);
        files.push_back(paths.accountsService + "/icons/" + account.name);
    }
    if (account.home.starts_with('/')) {
        files.push_back(account.home + "/.face");
        files.push_back(account.home + "/.face.icon");
    }
    return files;
}

std::optional<std::string> readPictureFile(const std::string& path) {
    // Looked at before it is opened: to open a device can have effects of its own.
    struct stat before {};
    if (::stat(path.c_str(), &before) != 0 || !S_ISREG(before.st_mode))
        return std::nullopt;
    const OpenFile file(path);
    struct stat status {};
    if (file.descriptor() < 0 || ::fstat(file.descriptor(), &status) != 0 ||
        !S_ISREG(status.st_mode) || status.st_size <= 0 ||
        static_cast<std::size_t>(status.st_size) > kLargestPictureFile)
        return std::nullopt;
    std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        const ssize_t got = ::read(file.descriptor(), bytes.data() + filled, bytes.size() - filled);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return std::nullopt;
        if (got == 0)
            break;
        filled += static_cast<std::size_t>(got);
    }
    bytes.resize(filled);
    return bytes;
}

} // namespace brindle::platform
