// SPDX-License-Identifier: BSD-2-Clause
#include "vardex/window/Doubts.h"

#include <QCoreApplication>
#include <QMessageBox>
#include <QPushButton>

namespace brindle::vardex {
namespace {

constexpr qsizetype kShown = 8;

QString tr(const char* text) {
    return QCoreApplication::translate("Doubts", text);
}

} // namespace

void Doubts::add(const AddressBlock& block, const std::string& reason) {
    blocks_.push_back(block);
    if (reasons_.size() < kShown) {
        reasons_.append(QString::fromStdString(block.text() + ' ' + reason));
    }
}

bool Doubts::areOverruled(QWidget* parent) const {
    if (blocks_.empty()) {
        return false;
    }
    QStringList reasons = reasons_;
    if (const auto more = std::ssize(blocks_) - reasons.size(); more > 0) {
        reasons.append(tr("and %1 more").arg(more));
    }
    QMessageBox box(QMessageBox::Warning, QStringLiteral("Vardex"),
                    tr("Blocking this may cut the machine off. Block it all the same?"),
                    QMessageBox::NoButton, parent);
    box.setTextFormat(Qt::PlainText);
    box.setInformativeText(reasons.join('\n'));
    const QAbstractButton* const block = box.addButton(tr("Block"), QMessageBox::DestructiveRole);
    box.setDefaultButton(box.addButton(tr("Leave Out"), QMessageBox::RejectRole));
    box.exec();
    return box.clickedButton() == block;
}

} // namespace brindle::vardex
