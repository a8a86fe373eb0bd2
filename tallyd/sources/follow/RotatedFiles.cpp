// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/follow/RotatedFiles.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include <sys/stat.h>

namespace brindle::tallyd {

namespace fs = std::filesystem;

bool RotatedFile::isBefore(const RotatedFile& other) const {
    if (separator != other.separator)
        return false;
    if (separator == '-') // dates
        return number < other.number;
    // Counted from the youngest, which is 1.
    return number.size() != other.number.size() ? number.size() > other.number.size()
                                                : number > other.number;
}

namespace {

struct Name {
    std::string path;
    char separator = '.';
    std::string number;
};

std::vector<Name> namesBeside(const std::string& path) {
    const fs::path log(path);
    const std::string name = log.filename().string();
    std::vector<Name> found;
    std::error_code problem;
    fs::directory_iterator entry(log.has_parent_path() ? log.parent_path() : fs::path("."),
                                 problem);
    for (; !problem && entry != fs::directory_iterator(); entry.increment(problem)) {
        const std::string candidate = entry->path().filename().string();
        if (candidate.size() < name.size() + 2 || !candidate.starts_with(name))
            continue;
        const char separator = candidate[name.size()];
        std::string number = candidate.substr(name.size() + 1);
        const bool isDate = separator == '-';
        if ((isDate || separator == '.') &&
            number.find_first_not_of(isDate ? "0123456789-" : "0123456789") == number.npos)
            found.push_back({entry->path().string(), separator, std::move(number)});
    }
    return found;
}

/// Whether a file still has the name that it was opened by.
bool hasName(const LogFile& file, const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && status.st_dev == file.device() &&
           status.st_ino == file.inode();
}

} // namespace

std::vector<RotatedFile> rotatedFiles(const std::string& path) {
    std::vector<RotatedFile> found;
    // While names move on from one file to the next, they are no guide.
    for (int attempt = 0; attempt < 10; ++attempt) {
        found.clear();
        std::vector<Name> names = namesBeside(path);
        std::vector<std::string> opened;
        for (Name& name : names) {
            auto file = LogFile::open(name.path);
            if (!file)
                continue;
            opened.push_back(name.path);
            found.push_back({std::move(*file), name.separator, std::move(name.number)});
        }
        bool areStill = true;
        for (std::size_t i = 0; i < found.size(); ++i)
            areStill = areStill && hasName(found[i].file, opened[i]);
        if (areStill)
            break;
    }
    std::sort(found.begin(), found.end(), [](const RotatedFile& a, const RotatedFile& b) {
        return a.separator != b.separator ? a.separator < b.separator : a.isBefore(b);
    });
    return found;
}

} // namespace brindle::tallyd
