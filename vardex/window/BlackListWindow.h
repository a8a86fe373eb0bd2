// SPDX-License-Identifier: BSD-2-Clause
//
// The companion's window: the black list, how it stands with the packet filter, and what can be
// done with it. Made by the composition root, shown when asked for; main thread. Closing it only
// hides it.
#pragma once

#include "vardex/companion/Keeper.h"
#include "vardex/window/BlackListModel.h"

#include <QAction>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QPointer>
#include <QPushButton>
#include <QString>
#include <QTableView>
#include <QTimer>

#include <functional>
#include <string>
#include <vector>

namespace brindle {
class PictureStore;
class WindowPicture;
} // namespace brindle

namespace brindle::vardex {

class AddDialog;

class BlackListWindow final : public QMainWindow {
    Q_OBJECT
  public:
    /// `picturesDirectory`: where the window saves a picture of itself; empty: nowhere.
    BlackListWindow(Keeper& keeper, const NationFinder& nations, PictureStore& pictures,
                    const QString& picturesDirectory);
    ~BlackListWindow() override;

    /// Shows it, in front.
    void present();
    /// Shows addresses for the user to add.
    void offer(const std::vector<std::string>& addresses);
    /// Says what went wrong, until the next such text.
    void tell(const QString& problem);

    /// Adds what is not doubtful, and what is if the user insists.
    void addAsking(const std::vector<AddressBlock>& blocks);
    /// Error texts are empty when all went well.
    QString importFrom(const QString& path);
    QString exportTo(const QString& path) const;

  signals:
    void viewerWanted();
    void quitWanted();
    /// The user closed it.
    void closed();

  protected:
    void closeEvent(QCloseEvent* event) override;

  private:
    void makeActions();
    QWidget* makeStandingBar();
    QWidget* makeSearchBar();
    void makeTable();
    QAction* action(const QString& text, const QKeySequence& keys, void (BlackListWindow::*slot)());

    void showStanding();
    void selectionChanged();
    std::vector<AddressBlock> selectedBlocks() const;
    void addAddresses();
    void removeSelected();
    void insistOnSelected();
    void copySelected();
    void find();
    void importList();
    void exportList();

    Keeper& keeper_;
    BlackListModel model_;
    BlackListOrder order_;
    QTableView* const table_ = new QTableView(this);
    QLineEdit* const search_ = new QLineEdit(this);
    QTimer searchPause_;
    QLabel* const warningSign_ = new QLabel(this);
    QLabel* const standing_ = new QLabel(this);
    QLabel* const problem_ = new QLabel(this);
    QPushButton* const apply_ = new QPushButton(this);
    QAction* remove_ = nullptr;
    QAction* insist_ = nullptr;
    QAction* copy_ = nullptr;
    QPointer<AddDialog> addDialog_;
    WindowPicture* picture_ = nullptr;
    QString told_;
};

} // namespace brindle::vardex
