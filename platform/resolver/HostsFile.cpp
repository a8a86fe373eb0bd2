// SPDX-License-Identifier: BSD-2-Clause
#include "platform/resolver/HostsFile.h"

#include <fstream>
#include <sstream>

#include <arpa/inet.h>
#include <sys/stat.h>

namespace brindle::platform {
namespace {

/// The address as inet_ntop writes it, so that "::0:1" is found as "::1"; empty for anything else.
std::string canonicalAddress(const std::string& text) {
    unsigned char bytes[16];
    char written[INET6_ADDRSTRLEN];
    for (const int family : {AF_INET, AF_INET6})
        if (inet_pton(family, text.c_str(), bytes) == 1)
            return inet_ntop(family, bytes, written, sizeof written);
    return {};
}

} // namespace

std::vector<std::string> HostsFile::names(const std::string& numeric) {
    refresh();
    const auto found = names_.find(numeric);
    return found == names_.end() ? std::vector<std::string>() : found->second;
}

void HostsFile::refresh() {
    // A burst of look-ups asks the file system once a second at the most.
    const std::time_t now = std::time(nullptr);
    if (path_.empty() || now == checked_)
        return;
    checked_ = now;
    struct stat info {};
    if (stat(path_.c_str(), &info) != 0) {
        names_.clear();
        changed_ = {};
        return;
    }
    if (info.st_mtim.tv_sec == changed_.tv_sec && info.st_mtim.tv_nsec == changed_.tv_nsec)
        return;
    changed_ = info.st_mtim;
    names_.clear();
    std::ifstream file(path_);
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line.substr(0, line.find('#')));
        std::string address;
        words >> address;
        const std::string canonical = canonicalAddress(address);
        if (canonical.empty())
            continue;
        std::vector<std::string>& names = names_[canonical];
        for (std::string name; words >> name;)
            names.push_back(name);
    }
}

} // namespace brindle::platform
