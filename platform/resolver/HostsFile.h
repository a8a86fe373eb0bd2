// SPDX-License-Identifier: BSD-2-Clause
//
// The host table of this machine (/etc/hosts), by address. Read anew when the file has changed.
// One thread.
#pragma once

#include <ctime>
#include <map>
#include <string>
#include <vector>

namespace brindle::platform {

class HostsFile {
  public:
    /// An empty path is an empty table, and so is a file that cannot be read.
    explicit HostsFile(std::string path) : path_(std::move(path)) {}

    /// Names in the order of the file; `numeric` as inet_ntop writes it.
    std::vector<std::string> names(const std::string& numeric);

  private:
    void refresh();

    std::string path_;
    timespec changed_{};
    std::time_t checked_ = 0;
    std::map<std::string, std::vector<std::string>> names_;
};

} // namespace brindle::platform
