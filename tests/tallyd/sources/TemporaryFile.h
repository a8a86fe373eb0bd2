// SPDX-License-Identifier: BSD-2-Clause
//
// A file of a test's own, gone when the test ends. Tests only.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <unistd.h>

namespace brindle::tallyd {

class TemporaryFile {
  public:
    explicit TemporaryFile(std::string_view content = {}) {
        static int number = 0;
        path_ = std::filesystem::temp_directory_path() /
                ("brindle-" + std::to_string(getpid()) + "-" + std::to_string(++number));
        write(content);
    }
    ~TemporaryFile() { std::filesystem::remove(path_); }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    std::string path() const { return path_.string(); }
    void write(std::string_view content) {
        std::ofstream(path_, std::ios::binary | std::ios::trunc) << content;
    }
    void shortenBy(std::uintmax_t bytes) {
        std::filesystem::resize_file(path_, std::filesystem::file_size(path_) - bytes);
    }

  private:
    std::filesystem::path path_;
};

} // namespace brindle::tallyd
