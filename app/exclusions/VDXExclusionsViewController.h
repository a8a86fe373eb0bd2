// SPDX-License-Identifier: BSD-2-Clause
//
// The exclusions editor's view: the table of entries, the field in which one is typed with the
// error mark and a line that tells what Add would make of it, and the buttons. All list logic is
// the exclusion list's. A child of its window, registered under "exclusions"; main thread.
#pragma once

#include "app/AppContext.h"
#include "core/exclusions/ExclusionList.h"
#include "core/log/Views.h"

#include <QString>
#include <QWidget>

#include <memory>
#include <vector>

class QAction;

namespace brindle {

class ExclusionsTableModel;
class WindowPicture;
namespace Ui {
class VDXExclusionsViewController;
}

/// What the window's menus offer of the view.
struct ExclusionsActions {
    QAction* add;
    QAction* remove;
    QAction* undo;
    QAction* copy;
    QAction* selectAll;
};

class VDXExclusionsViewController final : public QWidget, public ExclusionsView {
    Q_OBJECT
  public:
    /// Both outlive the view.
    VDXExclusionsViewController(AppContext& context, ExclusionList& exclusions,
                                QWidget* parent = nullptr);
    ~VDXExclusionsViewController() override;

    const std::shared_ptr<ViewEntry>& entry() const { return entry_; }
    ExclusionsActions actions() const;
    /// Called once the view is in its window.
    void viewDidLoad();

    void reloadExclusions() override;

  public slots:
    void addExclusion();
    void removeExclusion();
    /// Puts the entries of the last removal back, at the end of the list.
    void undoRemoval();
    /// The selected entries' texts, one a line.
    void copyExclusions();

  private:
    void connectControls();
    void nameControls();
    void showPreview();
    void showState();
    bool eventFilter(QObject* object, QEvent* event) override;

    AppContext& context_;
    ExclusionList& exclusions_;
    std::unique_ptr<Ui::VDXExclusionsViewController> ui_;
    std::shared_ptr<ViewEntry> entry_;
    ExclusionsTableModel* exclusionsArrayController_ = nullptr;
    WindowPicture* picture_ = nullptr;
    std::vector<VDXExclusion> removed_; ///< by the last removal, in list order
    QString preview_;                   ///< the whole line, however little of it fits
};

} // namespace brindle
