// SPDX-License-Identifier: BSD-2-Clause
#include "app/BootTime.h"

#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>

#ifndef __linux__
#include <sys/sysctl.h>
#include <sys/time.h>
#include <sys/types.h>
#endif

namespace brindle {

double bootTimeFromStatistics(std::istream& text) {
    for (std::string line; std::getline(text, line);) {
        std::istringstream words(line);
        std::string name;
        std::int64_t seconds = 0;
        if (words >> name >> seconds && name == "btime" && seconds >= 0) {
            return static_cast<double>(seconds);
        }
    }
    return 0;
}

double bootTime() {
#ifdef __linux__
    std::ifstream statistics("/proc/stat");
    return bootTimeFromStatistics(statistics);
#else
    timeval boot{};
    std::size_t size = sizeof boot;
    ::sysctlbyname("kern.boottime", &boot, &size, nullptr, 0);
    return static_cast<double>(boot.tv_sec);
#endif
}

} // namespace brindle
