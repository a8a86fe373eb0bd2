// SPDX-License-Identifier: BSD-2-Clause
//
// A folder with a log file that a test writes, rotates and truncates. Tests only.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include <stdlib.h>

namespace brindle::tallyd {

class LogFolder {
  public:
    LogFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "follow.XXXXXX").string();
        folder_ = ::mkdtemp(name.data());
    }
    ~LogFolder() { std::filesystem::remove_all(folder_); }
    LogFolder(const LogFolder&) = delete;
    LogFolder& operator=(const LogFolder&) = delete;

    std::string path(const std::string& name = "log") const { return (folder_ / name).string(); }

    void append(std::string_view text, const std::string& name = "log") const {
        std::ofstream(path(name), std::ios::binary | std::ios::app) << text;
    }
    void rename(const std::string& from, const std::string& to) const {
        std::filesystem::rename(path(from), path(to));
    }
    void copy(const std::string& from, const std::string& to) const {
        std::filesystem::copy_file(path(from), path(to));
    }
    void truncate(std::uintmax_t size = 0) const { std::filesystem::resize_file(path(), size); }
    void remove(const std::string& name = "log") const { std::filesystem::remove(path(name)); }

  private:
    std::filesystem::path folder_;
};

} // namespace brindle::tallyd
