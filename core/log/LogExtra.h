// SPDX-License-Identifier: BSD-2-Clause
//
// What a row has of its own, beyond the record in its batch: texts that were set on it, and the
// resolution of its addresses while that runs. Most rows have none. Owned by the row; its queries
// and timers know it only weakly. Main thread only.
#pragma once

#include "core/annotate/HostNameQuery.h"
#include "platform/resolver/HostResolver.h"
#include "platform/timer/Timer.h"

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>

namespace brindle {

enum class LogField : std::uint8_t;

/// What rows resolve their addresses with. Both outlive every row.
struct NameServices {
    platform::HostResolver* resolver = nullptr;
    platform::TimerService* timers = nullptr;
};

/// How long a field waits for its name.
inline constexpr double kNameDeadlineSeconds = 10.0;

class LogExtra final : public HostNameQueryDelegate, public std::enable_shared_from_this<LogExtra> {
  public:
    LogExtra() = default;
    /// Nobody wants the names of a row that has gone: its look-ups stop.
    ~LogExtra() override;
    LogExtra(const LogExtra&) = delete;
    LogExtra& operator=(const LogExtra&) = delete;

    std::unordered_map<LogField, std::string> texts;
    bool hasBeenReversed = false;

    /// Starts resolving both addresses. `seconds`: until the fields are given up. `changed` runs
    /// each time a displayed text changed.
    void reverse(const std::string& srcip, const std::string& dstip, const NameServices& services,
                 double seconds, std::function<void()> changed);

    void timeoutQuerySRCIP() { timeOut(Field::srcip); }
    void timeoutQueryDSTIP() { timeOut(Field::dstip); }
    void timeoutQueryLabel() { timeOut(Field::label); }

    void didCompleteWithNames(const std::vector<std::string>& names, HostNameQuery& query) override;
    void didCompleteWithError(const HostNameError& error, HostNameQuery& query) override;

  private:
    enum class Field : std::uint8_t { srcip, dstip, label, count };

    struct Resolution {
        std::string text; ///< the address being resolved
        std::unique_ptr<platform::Timer> timer;
        std::map<std::string, std::shared_ptr<HostNameQuery>> queries; ///< by address text
    };
    /// Exists from the first `reverse` until nothing of it runs any more.
    struct Running {
        std::array<Resolution, static_cast<std::size_t>(Field::count)> fields;
        std::function<void()> changed;
    };

    static Field fieldOf(const HostNameQuery& query);
    void timeOut(Field field);
    void forget(Resolution& resolution, const std::string& ip);
    void releaseWhenIdle();

    std::unique_ptr<Running> running_;
};

} // namespace brindle
