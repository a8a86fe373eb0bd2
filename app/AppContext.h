// SPDX-License-Identifier: BSD-2-Clause
//
// What the composition root hands to the windows: the process-wide tables, registries and services,
// and the interfaces through which windows reach each other without knowing each other. Main thread
// only; outlives every window.
#pragma once

#include "core/exclusions/ExclusionCommands.h"
#include "core/log/BrindleHelper.h"
#include "core/log/LogTables.h"
#include "core/log/VDXLog.h"
#include "core/log/Views.h"
#include "core/log/records/ExclusionTest.h"
#include "core/stats/Breakdown.h"
#include "core/stats/Periods.h"
#include "core/stats/TallyServices.h"
#include "platform/queue/DispatchQueue.h"
#include "platform/timer/Timer.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace brindle {

class PictureStore;
class Trace;

/// An open window under its name in `windowControllers`.
class WindowController {
  public:
    virtual ~WindowController() = default;
    /// Brings the window to the front and makes it key.
    virtual void present() = 0;
    virtual void close() = 0;
};

/// `windowControllers`: open window controllers by name ("logs", "exclusionsWindow", "passin" …).
class WindowControllers {
  public:
    void set(const std::string& name, std::shared_ptr<WindowController> controller) {
        controllers_[name] = std::move(controller);
    }
    void remove(const std::string& name) { controllers_.erase(name); }
    /// Lets go of all; those who ask from within a destructor find none any more.
    void clear() { std::exchange(controllers_, {}).clear(); }
    std::shared_ptr<WindowController> find(const std::string& name) const {
        const auto found = controllers_.find(name);
        return found == controllers_.end() ? nullptr : found->second;
    }

  private:
    std::map<std::string, std::shared_ptr<WindowController>> controllers_;
};

/// Which list a list window shows.
struct ListOpening {
    std::string action;    ///< "pass" or "block"
    std::string direction; ///< "in" or "out"
    std::string name;      ///< registry key: "passin", "blockin", "passout" or "blockout"
};

/// What a statistics window opens with.
struct StatisticsOpening {
    StatisticsInformation information;
    std::string name;    ///< registry key: "logs_" and a random number
    std::string caption; ///< "IP 203.0.113.7" or "Port 443"
};

/// Hands addresses to the firewall application.
class FirewallLink {
  public:
    virtual ~FirewallLink() = default;
    /// For its black list; starts it when it does not run.
    virtual void blackListAddresses(std::vector<std::string> addresses) = 0;
    /// For whatever it does with them; lost when it does not run.
    virtual void sendAddresses(std::vector<std::string> addresses) = 0;
};

struct AppContext {
    platform::Queues queues;
    platform::TimerService* timers = nullptr;
    std::shared_ptr<BrindleHelper> helper;
    ViewControllers* viewControllers = nullptr;
    WindowControllers* windowControllers = nullptr;
    LogTables* tables = nullptr;
    PictureStore* pictures = nullptr;
    const ExclusionTest* exclusionTest = nullptr;
    Console console;
    Trace* trace = nullptr;        ///< null when nothing is traced
    std::string picturesDirectory; ///< each window saves a picture of itself there; empty: none

    PeriodState periods;   ///< shared by the list windows
    TallyServices tallies; ///< what their rows are counted and annotated with

    // Null or empty while the part that serves them is not there: the actions then change nothing.
    ExclusionCommands* exclusions = nullptr;
    FirewallLink* link = nullptr;
    NameServices names; ///< the resolver is null where name look-ups could not be set up
    std::function<std::shared_ptr<WindowController>(const ListOpening&)> makeListWindow;
    std::function<std::shared_ptr<WindowController>(StatisticsOpening)> makeStatisticsWindow;
    std::function<std::shared_ptr<WindowController>()> makeExclusionsWindow;
};

} // namespace brindle
