// SPDX-License-Identifier: BSD-2-Clause
#include "app/exclusions/VDXExclusionsViewController.h"

#include "app/exclusions/ExclusionWording.h"
#include "app/exclusions/ExclusionsTableModel.h"
#include "app/images/WindowPicture.h"
#include "core/exclusions/ExclusionFromText.h"

#include <QClipboard>
#include <QEvent>
#include <QGuiApplication>
#include <QLocale>
#include <QStringList>

#include <algorithm>
#include <utility>
#include <variant>

#include "ui_VDXExclusionsViewController.h"

namespace brindle {
namespace {

/// Rows selected in a table, from the top.
std::vector<int> selectedRows(const QTableView& table) {
    std::vector<int> rows;
    for (const QModelIndex& index : table.selectionModel()->selectedRows()) {
        rows.push_back(index.row());
    }
    std::ranges::sort(rows);
    return rows;
}

QString grouped(std::size_t number) {
    return QLocale(QLocale::English, QLocale::UnitedStates)
        .toString(static_cast<qulonglong>(number));
}

} // namespace

VDXExclusionsViewController::VDXExclusionsViewController(AppContext& context,
                                                         ExclusionList& exclusions, QWidget* parent)
    : QWidget(parent), context_(context), exclusions_(exclusions),
      ui_(std::make_unique<Ui::VDXExclusionsViewController>()),
      entry_(std::make_shared<ViewEntry>(this)) {
    ui_->setupUi(this);
    exclusionsArrayController_ = new ExclusionsTableModel(this);
    ui_->table->setModel(exclusionsArrayController_);
    ui_->table->setEmptyText(tr("Nothing is hidden.\nType an address, a block or a port above: "
                                "records that carry it no longer show in the live log."));
    ui_->image_error->setPictures(*context_.pictures);
    nameControls();
    connectControls();
}

VDXExclusionsViewController::~VDXExclusionsViewController() {
    entry_->exclusions = nullptr;
    if (context_.viewControllers->find("exclusions") == entry_) {
        context_.viewControllers->remove("exclusions");
    }
}

void VDXExclusionsViewController::nameControls() {
    ui_->removeButton->setToolTip(ui_->remove->toolTip());
    ui_->addButton->setToolTip(tr("Hide what is in the text field from the live log (Enter)"));
    for (QPushButton* button : {ui_->addButton, ui_->removeButton, ui_->undoButton}) {
        button->setAutoDefault(false);
    }
    // Deleting and copying in the text field are the field's own.
    ui_->remove->setShortcuts({QKeySequence(Qt::Key_Delete), QKeySequence(Qt::Key_Backspace)});
    ui_->table->addActions({ui_->undo, ui_->copy, ui_->selectAll, ui_->remove});
    ui_->table->setContextMenuPolicy(Qt::ActionsContextMenu);
    ui_->preview->installEventFilter(this);
}

void VDXExclusionsViewController::connectControls() {
    connect(ui_->textfield_addExlusion, &QLineEdit::returnPressed, this,
            &VDXExclusionsViewController::addExclusion);
    connect(ui_->textfield_addExlusion, &QLineEdit::textChanged, this,
            &VDXExclusionsViewController::showPreview);
    connect(ui_->addButton, &QPushButton::clicked, ui_->add, &QAction::trigger);
    connect(ui_->removeButton, &QPushButton::clicked, ui_->remove, &QAction::trigger);
    connect(ui_->undoButton, &QPushButton::clicked, ui_->undo, &QAction::trigger);
    connect(ui_->add, &QAction::triggered, this, &VDXExclusionsViewController::addExclusion);
    connect(ui_->remove, &QAction::triggered, this, &VDXExclusionsViewController::removeExclusion);
    connect(ui_->undo, &QAction::triggered, this, &VDXExclusionsViewController::undoRemoval);
    connect(ui_->copy, &QAction::triggered, this, &VDXExclusionsViewController::copyExclusions);
    connect(ui_->selectAll, &QAction::triggered, ui_->table, &QTableView::selectAll);
    connect(ui_->table->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &VDXExclusionsViewController::showState);
}

ExclusionsActions VDXExclusionsViewController::actions() const {
    return {ui_->add, ui_->remove, ui_->undo, ui_->copy, ui_->selectAll};
}

void VDXExclusionsViewController::viewDidLoad() {
    picture_ = new WindowPicture(window(), QString::fromStdString(context_.picturesDirectory),
                                 QStringLiteral("exclusions"));
    reloadExclusions();
    ui_->image_error->hide();
    ui_->textfield_addExlusion->setFocus();
}

void VDXExclusionsViewController::reloadExclusions() {
    exclusionsArrayController_->setContent(exclusions_.exclusionList());
    showState();
    if (picture_ != nullptr) {
        // The sentence in an empty table is content too.
        picture_->contentChanged(std::max(1, exclusionsArrayController_->rowCount()));
    }
}

void VDXExclusionsViewController::addExclusion() {
    ExclusionFromText made = exclusionFromText(ui_->textfield_addExlusion->text().toStdString());
    if (std::holds_alternative<InvalidExclusion>(made)) {
        ui_->image_error->show();
    } else if (auto* exclusion = std::get_if<VDXExclusion>(&made)) {
        ui_->image_error->hide();
        exclusions_.addExclusion(std::move(*exclusion));
        ui_->table->scrollToBottom();
        // The text stays, ready to be typed over.
        ui_->textfield_addExlusion->selectAll();
    }
}

void VDXExclusionsViewController::removeExclusion() {
    const std::vector<int> rows = selectedRows(*ui_->table);
    if (rows.empty()) {
        return;
    }
    std::vector<std::string> texts;
    for (const int row : rows) {
        texts.push_back(exclusionsArrayController_->exclusion(row).exclusion);
    }
    std::ranges::sort(texts);
    removed_.clear();
    for (const VDXExclusion& entry : exclusions_.exclusionList()) {
        if (std::ranges::binary_search(texts, entry.exclusion)) {
            removed_.push_back(entry);
        }
    }
    exclusions_.removeExclusions(texts);
    // The keyboard goes on where the rows were, but nothing is selected: the next Delete must not
    // take a row that nobody chose.
    const int row = std::min(rows.front(), exclusionsArrayController_->rowCount() - 1);
    ui_->table->selectionModel()->setCurrentIndex(exclusionsArrayController_->index(row, 0),
                                                  QItemSelectionModel::Clear);
    showState();
}

void VDXExclusionsViewController::undoRemoval() {
    for (VDXExclusion& exclusion : std::exchange(removed_, {})) {
        exclusions_.addExclusion(std::move(exclusion));
    }
    ui_->table->scrollToBottom();
    showState();
}

void VDXExclusionsViewController::copyExclusions() {
    QStringList lines;
    for (const int row : selectedRows(*ui_->table)) {
        lines << QString::fromStdString(exclusionsArrayController_->exclusion(row).exclusion);
    }
    if (!lines.isEmpty()) {
        QGuiApplication::clipboard()->setText(lines.join(QLatin1Char('\n')));
    }
}

void VDXExclusionsViewController::showPreview() {
    preview_ = previewText(ui_->textfield_addExlusion->text().toStdString());
    const QString fitting =
        ui_->preview->fontMetrics().elidedText(preview_, Qt::ElideRight, ui_->preview->width());
    ui_->preview->setText(fitting);
    ui_->preview->setToolTip(fitting == preview_ ? QString() : preview_);
    ui_->preview->setAccessibleDescription(preview_);
}

void VDXExclusionsViewController::showState() {
    const bool anySelected = ui_->table->selectionModel()->hasSelection();
    const auto rows = static_cast<std::size_t>(exclusionsArrayController_->rowCount());
    ui_->remove->setEnabled(anySelected);
    ui_->copy->setEnabled(anySelected);
    ui_->selectAll->setEnabled(rows > 0);
    ui_->undo->setEnabled(!removed_.empty());
    const QString undoes =
        removed_.size() == 1
            ? tr("Hide %1 again (Ctrl+Z)").arg(QString::fromStdString(removed_.front().exclusion))
            : tr("Hide the %1 entries removed last again (Ctrl+Z)").arg(grouped(removed_.size()));
    ui_->undo->setToolTip(removed_.empty() ? tr("Take back the last removal (Ctrl+Z)") : undoes);
    ui_->undoButton->setToolTip(ui_->undo->toolTip());
    ui_->removeButton->setEnabled(ui_->remove->isEnabled());
    ui_->undoButton->setEnabled(ui_->undo->isEnabled());
    ui_->counts->setText(rows == 0   ? QString()
                         : rows == 1 ? tr("1 entry")
                                     : tr("%1 entries").arg(grouped(rows)));
}

bool VDXExclusionsViewController::eventFilter(QObject* object, QEvent* event) {
    if (object == ui_->preview && event->type() == QEvent::Resize) {
        showPreview();
    }
    return QWidget::eventFilter(object, event);
}

} // namespace brindle
