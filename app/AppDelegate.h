// SPDX-License-Identifier: BSD-2-Clause
//
// What the application does when it has been launched and when its last window closes. Made by the
// composition root after the application object, lives as long as its event loop; main thread.
#pragma once

#include "app/AppContext.h"
#include "app/VDXStartup.h"

#include <QObject>
#include <QTimer>

#include <string>
#include <vector>

namespace brindle {

class AppDelegate final : public QObject {
    Q_OBJECT
  public:
    /// `arguments`: the process's own, program path first, none taken away.
    AppDelegate(std::vector<std::string> arguments, AppContext& context, StartupSteps steps);

    /// The start sequence. Ends the event loop with status 0 after an alert when the program was
    /// not started the way it must be.
    void applicationDidFinishLaunching();
    bool applicationShouldTerminateAfterLastWindowClosed() const { return true; }

    /// The launch check: the program and exactly the one argument "vardex".
    static bool startedByVardex(const std::vector<std::string>& arguments);

  private:
    void lastWindowClosed();
    void startupFailed(const std::string& error);
    void versionAnswered();
    void end(int status);

    const std::vector<std::string> arguments_;
    AppContext& context_;
    const StartupSteps steps_;
    bool versionPending_ = false;
    bool alerting_ = false;
    bool ended_ = false;
    QTimer patience_;
};

} // namespace brindle
