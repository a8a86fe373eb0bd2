// SPDX-License-Identifier: BSD-2-Clause
//
// The logs window: period menu and date fields, buttons for the lists and the exclusions, the
// filter field, the table of records (VDXLogsViewController) and the status bar. Made by the
// start-up, which registers it under "logs"; the window is loaded when it is first presented. Main
// thread.
#pragma once

#include "app/AppContext.h"
#include "app/logs/DaemonStatusPoll.h"
#include "app/logs/LogsActions.h"
#include "app/logs/Wording.h"

#include <QMainWindow>
#include <QObject>
#include <QTimer>

#include <memory>
#include <optional>

namespace brindle {

class VDXLogsViewController;
class WindowPicture;
namespace Ui {
class VDXLogsWindowController;
}

class VDXLogsWindowController final : public QObject,
                                      public WindowController,
                                      public std::enable_shared_from_this<VDXLogsWindowController> {
    Q_OBJECT
  public:
    explicit VDXLogsWindowController(AppContext& context);
    ~VDXLogsWindowController() override;

    void present() override;
    void close() override;

    /// The window, loaded on the first call.
    QMainWindow* window();

  public slots:
    void selectPopup(int index);
    void clickQuery();
    void passin() { openList("pass", "in", "passin"); }
    void blockin() { openList("block", "in", "blockin"); }
    void passout() { openList("pass", "out", "passout"); }
    void blockout() { openList("block", "out", "blockout"); }
    void openIgnoreWindow();

  private:
    void windowDidLoad();
    void windowWillClose();
    bool eventFilter(QObject* object, QEvent* event) override;

    void openList(const char* action, const char* direction, const char* name);
    void showDateControls(bool shown);
    void connectActions();
    void connectControls();
    void nameControls();
    void setButtonStyle(Qt::ToolButtonStyle style);
    void measureControls();
    void fitControls();
    void showState();
    void showMistake();
    /// The "logs" view while it is registered.
    LogsView* registeredView() const;

    AppContext& context_;
    std::unique_ptr<QMainWindow> window_;
    std::unique_ptr<Ui::VDXLogsWindowController> ui_;
    VDXLogsViewController* view_ = nullptr; ///< a child of mainView
    LogsActions* actions_ = nullptr;
    WindowPicture* picture_ = nullptr;

    QTimer statusTimer_;
    QTimer stateTimer_;   ///< gathers changes of the view into one change of the status bar
    QTimer mistakeTimer_; ///< a mistake is shown when the user pauses
    std::shared_ptr<DaemonStatusPoll> poll_;
    std::shared_ptr<const BrindleHelper::ConnectionObserver> connectionObserver_;
    std::uint64_t liveRate_ = 0;
    bool pickersTouched_ = false;
    bool closed_ = false;
    int roomyWidth_ = 0; ///< of the row of controls, with words on the buttons
    struct Mistake {
        std::size_t position, length;
        QString sentence;
    };
    std::optional<Mistake> mistake_;
};

} // namespace brindle
