// SPDX-License-Identifier: BSD-2-Clause
//
// The start-up sequence: asks the daemon for its version, loads the reference data, notes the boot
// time and opens the logs window. Run once by the application's delegate on the main thread; what
// it starts goes on after it.
#pragma once

#include "app/AppContext.h"

#include <functional>
#include <memory>
#include <string>

namespace brindle {

/// What the composition root puts into the sequence. A step that is empty is skipped.
struct StartupSteps {
    std::function<void()> loadPortNames;
    std::function<void()> importNationsDB;
    std::function<void()> buildLocalUsers;
    std::function<std::shared_ptr<WindowController>()> makeLogsWindow;
    /// After everything else, the logs window included.
    std::function<void()> loadExclusions;
};

/// How the version request ended. Both run on the connection's delivery thread.
struct VersionOutcome {
    std::function<void()> answered;
    std::function<void(const std::string& error)> failed;
};

class VDXStartup {
  public:
    enum class Request { sent, skipped };

    VDXStartup(AppContext& context, const StartupSteps& steps) : context_(context), steps_(steps) {}

    /// Exactly one of `outcome` runs later when the request was sent.
    Request startUp(VersionOutcome outcome);

  private:
    Request requestVersion(VersionOutcome outcome);

    AppContext& context_;
    const StartupSteps& steps_;
};

} // namespace brindle
