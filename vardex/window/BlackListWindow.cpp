// SPDX-License-Identifier: BSD-2-Clause
#include "vardex/window/BlackListWindow.h"

#include "app/images/PictureIcon.h"
#include "app/images/PictureStore.h"
#include "app/images/WindowPicture.h"
#include "vardex/guard/AddressGuard.h"
#include "vardex/guard/MachineAddresses.h"
#include "vardex/window/AddDialog.h"
#include "vardex/window/Doubts.h"

#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QFile>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QMenuBar>
#include <QSaveFile>
#include <QStyle>
#include <QVBoxLayout>

#include <algorithm>

namespace brindle::vardex {
namespace {

constexpr qint64 kMaximumImportBytes = qint64{8} << 20;
constexpr int kSearchPauseMs = 150;

} // namespace

BlackListWindow::BlackListWindow(Keeper& keeper, const NationFinder& nations,
                                 PictureStore& pictures, const QString& picturesDirectory)
    : keeper_(keeper), model_(keeper, nations, pictures), order_(model_),
      picture_(new WindowPicture(this, picturesDirectory, QStringLiteral("vardex"))) {
    setWindowTitle(QStringLiteral("Vardex"));
    setWindowIcon(pictureIcon(pictures, QStringLiteral("vardex")));
    makeActions();
    makeTable();
    // Painted anew, not changed: the list need not be sorted again for a flag.
    connect(&pictures, &PictureStore::drawn, table_->viewport(), qOverload<>(&QWidget::update));
    auto* const content = new QWidget(this);
    auto* const layout = new QVBoxLayout(content);
    layout->addWidget(makeStandingBar());
    layout->addWidget(makeSearchBar());
    layout->addWidget(table_);
    setCentralWidget(content);
    resize(800, 480);
    connect(&keeper_, &Keeper::changed, this, &BlackListWindow::showStanding);
    showStanding();
    selectionChanged();
}

BlackListWindow::~BlackListWindow() = default;

QAction* BlackListWindow::action(const QString& text, const QKeySequence& keys,
                                 void (BlackListWindow::*slot)()) {
    auto* const made = new QAction(text, this);
    made->setShortcut(keys);
    connect(made, &QAction::triggered, this, slot);
    return made;
}

void BlackListWindow::makeActions() {
    QMenu* const file = menuBar()->addMenu(tr("&File"));
    file->addAction(action(tr("Open &Log"), QKeySequence(Qt::CTRL | Qt::Key_L),
                           &BlackListWindow::viewerWanted));
    file->addSeparator();
    file->addAction(
        action(tr("&Import..."), QKeySequence(Qt::CTRL | Qt::Key_I), &BlackListWindow::importList));
    file->addAction(
        action(tr("&Export..."), QKeySequence(Qt::CTRL | Qt::Key_E), &BlackListWindow::exportList));
    file->addSeparator();
    file->addAction(action(tr("&Quit"), QKeySequence::Quit, &BlackListWindow::quitWanted));
    QMenu* const list = menuBar()->addMenu(tr("&List"));
    list->addAction(action(tr("&Add..."), QKeySequence::New, &BlackListWindow::addAddresses));
    remove_ = action(tr("&Remove"), QKeySequence::Delete, &BlackListWindow::removeSelected);
    insist_ = action(tr("&Block Although Refused..."), {}, &BlackListWindow::insistOnSelected);
    copy_ = action(tr("&Copy"), QKeySequence::Copy, &BlackListWindow::copySelected);
    list->addActions({remove_, insist_, copy_});
    list->addAction(action(tr("&Find"), QKeySequence::Find, &BlackListWindow::find));
}

QWidget* BlackListWindow::makeStandingBar() {
    auto* const bar = new QWidget(this);
    auto* const layout = new QVBoxLayout(bar);
    layout->setContentsMargins({});
    auto* const line = new QHBoxLayout;
    standing_->setObjectName(QStringLiteral("standing"));
    problem_->setObjectName(QStringLiteral("problem"));
    for (QLabel* label : {standing_, problem_}) {
        label->setTextFormat(Qt::PlainText);
        label->setWordWrap(true);
    }
    apply_->setText(tr("Apply"));
    connect(apply_, &QPushButton::clicked, &keeper_, &Keeper::apply);
    const int size = style()->pixelMetric(QStyle::PM_SmallIconSize);
    warningSign_->setPixmap(style()->standardIcon(QStyle::SP_MessageBoxWarning).pixmap(size));
    line->addWidget(warningSign_);
    line->addWidget(standing_, 1);
    line->addWidget(apply_);
    layout->addLayout(line);
    layout->addWidget(problem_);
    return bar;
}

QWidget* BlackListWindow::makeSearchBar() {
    auto* const bar = new QWidget(this);
    auto* const layout = new QHBoxLayout(bar);
    layout->setContentsMargins({});
    auto* const add = new QPushButton(tr("Add..."), this);
    connect(add, &QPushButton::clicked, this, &BlackListWindow::addAddresses);
    auto* const remove = new QPushButton(tr("Remove"), this);
    connect(remove, &QPushButton::clicked, remove_, &QAction::trigger);
    connect(remove_, &QAction::changed, remove,
            [this, remove] { remove->setEnabled(remove_->isEnabled()); });
    auto* const log = new QPushButton(tr("Open Log"), this);
    connect(log, &QPushButton::clicked, this, &BlackListWindow::viewerWanted);
    search_->setObjectName(QStringLiteral("search"));
    search_->setPlaceholderText(tr("Search"));
    search_->setClearButtonEnabled(true);
    // A long list is searched once the typing pauses.
    searchPause_.setSingleShot(true);
    searchPause_.setInterval(kSearchPauseMs);
    connect(search_, &QLineEdit::textChanged, &searchPause_, qOverload<>(&QTimer::start));
    connect(&searchPause_, &QTimer::timeout, this, [this] { order_.search(search_->text()); });
    layout->addWidget(add);
    layout->addWidget(remove);
    layout->addStretch();
    layout->addWidget(search_);
    layout->addWidget(log);
    return bar;
}

void BlackListWindow::makeTable() {
    table_->setModel(&order_);
    table_->setSelectionBehavior(QAbstractItemView::SelectRows);
    table_->setAlternatingRowColors(true);
    table_->setShowGrid(false);
    table_->setWordWrap(false);
    table_->setIconSize(QSize(20, 15));
    table_->setSortingEnabled(true);
    table_->sortByColumn(BlackListModel::Added, Qt::DescendingOrder);
    table_->verticalHeader()->hide();
    table_->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 8);
    QHeaderView* const header = table_->horizontalHeader();
    header->setStretchLastSection(true);
    header->setHighlightSections(false);
    header->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    header->resizeSection(BlackListModel::Address, 180);
    header->resizeSection(BlackListModel::Nation, 150);
    header->resizeSection(BlackListModel::Added, 150);
    table_->setContextMenuPolicy(Qt::ActionsContextMenu);
    table_->addActions({copy_, remove_, insist_});
    connect(table_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &BlackListWindow::selectionChanged);
    connect(&order_, &QAbstractItemModel::modelReset, this, &BlackListWindow::selectionChanged);
}

void BlackListWindow::present() {
    if (isMinimized()) {
        showNormal();
    }
    show();
    raise();
    activateWindow();
    picture_->contentChanged(model_.rowCount());
}

void BlackListWindow::offer(const std::vector<std::string>& addresses) {
    present();
    addAddresses();
    addDialog_->offer(addresses);
}

void BlackListWindow::tell(const QString& problem) {
    told_ = problem;
    showStanding();
}

void BlackListWindow::closeEvent(QCloseEvent* event) {
    hide();
    QMainWindow::closeEvent(event);
    emit closed();
}

void BlackListWindow::showStanding() {
    int refused = 0;
    for (const BlackListEntry& entry : keeper_.list()) {
        refused += keeper_.refusalOf(entry).empty() ? 0 : 1;
    }
    const auto blocked = static_cast<int>(keeper_.list().size()) - refused;
    QString text;
    switch (keeper_.standing()) {
    case Keeper::Standing::unknown:
        text = tr("The black list is empty.");
        break;
    case Keeper::Standing::applying:
        text = tr("The black list is being put into the packet filter...");
        break;
    case Keeper::Standing::applied:
        text =
            blocked == 1 ? tr("1 entry is blocked.") : tr("%1 entries are blocked.").arg(blocked);
        break;
    case Keeper::Standing::notApplied:
        text = tr("Not applied: %1.").arg(keeper_.reason());
        break;
    }
    if (refused > 0) {
        text += ' ' + (refused == 1 ? tr("1 was refused.") : tr("%1 were refused.").arg(refused));
    }
    standing_->setText(text);
    const bool isNotApplied = keeper_.standing() == Keeper::Standing::notApplied;
    warningSign_->setVisible(isNotApplied);
    apply_->setVisible(isNotApplied);
    QStringList problems{keeper_.warning(), told_};
    problems.removeAll(QString());
    problem_->setText(problems.join('\n'));
    problem_->setVisible(!problems.isEmpty());
    picture_->contentChanged(model_.rowCount());
}

void BlackListWindow::selectionChanged() {
    const QModelIndexList rows = table_->selectionModel()->selectedRows();
    remove_->setEnabled(!rows.isEmpty());
    copy_->setEnabled(!rows.isEmpty());
    insist_->setEnabled(std::any_of(rows.begin(), rows.end(), [this](const QModelIndex& row) {
        return model_.isRefused(order_.mapToSource(row).row());
    }));
}

std::vector<AddressBlock> BlackListWindow::selectedBlocks() const {
    std::vector<AddressBlock> blocks;
    for (const QModelIndex& row : table_->selectionModel()->selectedRows()) {
        blocks.push_back(model_.entry(order_.mapToSource(row).row()).block);
    }
    return blocks;
}

void BlackListWindow::addAddresses() {
    if (!addDialog_) {
        addDialog_ = new AddDialog(this);
        addDialog_->setAttribute(Qt::WA_DeleteOnClose);
        connect(addDialog_, &QDialog::accepted, this,
                [this, dialog = addDialog_.data()] { addAsking(dialog->blocks()); });
    }
    addDialog_->show();
    addDialog_->raise();
    addDialog_->activateWindow();
}

void BlackListWindow::addAsking(const std::vector<AddressBlock>& blocks) {
    tell({});
    const MachineAddresses machine = MachineAddresses::current();
    std::vector<AddressBlock> harmless;
    Doubts doubts;
    for (const AddressBlock& block : blocks) {
        if (const auto reason = reasonToRefuse(block, machine)) {
            doubts.add(block, *reason);
        } else {
            harmless.push_back(block);
        }
    }
    if (!harmless.empty()) {
        keeper_.add(std::move(harmless), Insistence::none);
    }
    if (doubts.areOverruled(this)) {
        keeper_.insist(doubts.blocks());
    }
}

void BlackListWindow::removeSelected() {
    tell({});
    keeper_.remove(selectedBlocks());
}

void BlackListWindow::insistOnSelected() {
    Doubts doubts;
    for (const QModelIndex& row : table_->selectionModel()->selectedRows()) {
        const BlackListEntry& entry = model_.entry(order_.mapToSource(row).row());
        if (const std::string reason = keeper_.refusalOf(entry); !reason.empty()) {
            doubts.add(entry.block, reason);
        }
    }
    if (doubts.areOverruled(this)) {
        keeper_.insist(doubts.blocks());
    }
}

void BlackListWindow::copySelected() {
    QStringList texts;
    for (const AddressBlock& block : selectedBlocks()) {
        texts.append(QString::fromStdString(block.text()));
    }
    QApplication::clipboard()->setText(texts.join('\n'));
}

void BlackListWindow::find() {
    search_->setFocus(Qt::ShortcutFocusReason);
    search_->selectAll();
}

void BlackListWindow::importList() {
    const QString path = QFileDialog::getOpenFileName(this, tr("Import Addresses"));
    if (!path.isEmpty()) {
        tell(importFrom(path));
    }
}

QString BlackListWindow::importFrom(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return tr("%1 cannot be read: %2").arg(path, file.errorString());
    }
    const QByteArray bytes = file.read(kMaximumImportBytes + 1);
    if (bytes.size() > kMaximumImportBytes) {
        return tr("%1 is larger than a list of addresses").arg(path);
    }
    const ReadBlocks read = blocksOfText(bytes.toStdString());
    addAsking(read.blocks);
    if (read.notUnderstood.empty()) {
        return {};
    }
    return tr("%1 lines of %2 are no addresses and were left out")
        .arg(read.notUnderstood.size())
        .arg(path);
}

void BlackListWindow::exportList() {
    const QString path =
        QFileDialog::getSaveFileName(this, tr("Export Addresses"), QStringLiteral("blacklist.txt"));
    if (!path.isEmpty()) {
        tell(exportTo(path));
    }
}

QString BlackListWindow::exportTo(const QString& path) const {
    QSaveFile file(path);
    const std::string text = exportText(keeper_.list());
    if (!file.open(QIODevice::WriteOnly) || file.write(text.data(), std::ssize(text)) < 0 ||
        !file.commit()) {
        return tr("%1 cannot be written: %2").arg(path, file.errorString());
    }
    return {};
}

} // namespace brindle::vardex
