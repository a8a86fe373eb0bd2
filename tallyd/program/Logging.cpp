// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/program/Logging.h"

#include <cstdlib>
#include <memory>
#include <string_view>

#include <fmt/format.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>
#include <sys/stat.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

namespace brindle::tallyd {

namespace {

constexpr std::string_view priorityOf(spdlog::level::level_enum level) {
    switch (level) {
    case spdlog::level::critical:
        return SD_CRIT;
    case spdlog::level::err:
        return SD_ERR;
    case spdlog::level::warn:
        return SD_WARNING;
    case spdlog::level::info:
        return SD_INFO;
    default:
        return SD_DEBUG;
    }
}

class PriorityFlag final : public spdlog::custom_flag_formatter {
  public:
    void format(const spdlog::details::log_msg& message, const std::tm&,
                spdlog::memory_buf_t& out) override {
        const std::string_view priority = priorityOf(message.level);
        out.append(priority.data(), priority.data() + priority.size());
    }
    std::unique_ptr<custom_flag_formatter> clone() const override {
        return std::make_unique<PriorityFlag>();
    }
};

} // namespace

bool isJournalStream(int descriptor, const char* journalStream) {
    struct stat status {};
    return journalStream && ::fstat(descriptor, &status) == 0 &&
           journalStream == fmt::format("{}:{}", status.st_dev, status.st_ino);
}

LogLines setUpLogging() {
    const auto lines = isJournalStream(STDERR_FILENO, std::getenv("JOURNAL_STREAM"))
                           ? LogLines::journal
                           : LogLines::plain;
    auto formatter = std::make_unique<spdlog::pattern_formatter>();
    // Whoever collects our standard error adds the time.
    formatter->add_flag<PriorityFlag>('*').set_pattern(lines == LogLines::journal ? "%*%v"
                                                                                  : "tallyd: %v");
    auto logger = spdlog::stderr_logger_mt("tallyd");
    logger->set_formatter(std::move(formatter));
    spdlog::set_default_logger(std::move(logger));
    return lines;
}

std::string errorPrefix(LogLines lines) {
    return lines == LogLines::journal ? SD_ERR : "tallyd: ";
}

} // namespace brindle::tallyd
