// SPDX-License-Identifier: BSD-2-Clause
//
// What the companion does from its start to its end: there is one a user, it starts the viewer,
// takes addresses from it, and says when it quits. It lives while a window of it or the viewer is
// there. Made by the composition root; main thread.
#pragma once

#include "platform/broadcast/BroadcastCenter.h"
#include "vardex/companion/Arguments.h"
#include "vardex/companion/BrindleProcess.h"
#include "vardex/companion/Keeper.h"

#include <QObject>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace brindle::vardex {

/// How the companion reaches its window, which need not exist.
struct CompanionWindow {
    std::function<void()> present;
    std::function<bool()> isVisible;
    /// Shows addresses that the user may put on the list.
    std::function<void(const std::vector<std::string>& addresses)> offer;
    /// Empty: there is no problem any more.
    std::function<void(const QString& problem)> tell;
};

class Companion final : public QObject {
    Q_OBJECT
  public:
    Companion(platform::BroadcastCenter& broadcasts, Keeper& keeper, BrindleProcess& viewer,
              CompanionWindow window);

    /// Becomes the user's companion, or hands `texts` over to the one there is and ends. `texts`:
    /// what the program was started with, which can be parsed.
    void start(const std::vector<std::string>& texts);

    /// The viewer, unless one runs.
    void openViewer();
    bool isViewerRunning() const { return viewer_.isRunning() || viewerIsOnBus_; }
    /// The window went away, or the viewer did: ends when the other is not there either.
    void endWhenNobodyIsLeft();

    /// Tells the viewer, once; then the event loop is to end.
    void announceQuitting();

  signals:
    /// The program is to end, with this status.
    void ended(int status);

  private:
    void begin(const std::vector<std::string>& texts);
    void obey(const Arguments& arguments);
    void obeyOnceBegun(const Arguments& arguments);
    void blackList(const std::vector<std::string>& addresses);
    void listChanged();

    platform::BroadcastCenter& broadcasts_;
    Keeper& keeper_;
    BrindleProcess& viewer_;
    const CompanionWindow window_;
    std::vector<std::unique_ptr<platform::Observation>> observations_;
    std::vector<Arguments> waiting_; ///< came before it was known that we are the one companion
    bool begun_ = false;
    bool viewerIsOnBus_ = false;
    bool asked_ = false;  ///< addresses came from outside, and their fate is not known yet
    bool ending_ = false; ///< as soon as what is being done is done
};

} // namespace brindle::vardex
