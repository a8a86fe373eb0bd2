// SPDX-License-Identifier: BSD-2-Clause
#include "vardex/window/AddDialog.h"

#include "vardex/list/BlackList.h"

#include <QDialogButtonBox>
#include <QFontDatabase>
#include <QVBoxLayout>

namespace brindle::vardex {

AddDialog::AddDialog(QWidget* parent) : QDialog(parent) {
    setWindowTitle(tr("Add Addresses"));
    auto* const heading = new QLabel(tr("Addresses or blocks to be blocked, one a line:"), this);
    heading->setBuddy(text_);
    text_->setObjectName(QStringLiteral("addresses"));
    text_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    text_->setPlaceholderText(QStringLiteral("203.0.113.7\n198.51.100.0/24\n2001:db8::/32"));
    text_->setTabChangesFocus(true);
    count_->setTextFormat(Qt::PlainText);
    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
    add_ = buttons->addButton(tr("Add"), QDialogButtonBox::AcceptRole);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(text_, &QPlainTextEdit::textChanged, this, &AddDialog::textChanged);

    auto* const layout = new QVBoxLayout(this);
    layout->addWidget(heading);
    layout->addWidget(text_);
    layout->addWidget(count_);
    layout->addWidget(buttons);
    resize(380, 280);
    textChanged();
}

void AddDialog::offer(const std::vector<std::string>& texts) {
    QStringList lines = text_->toPlainText().split('\n', Qt::SkipEmptyParts);
    for (const std::string& text : texts) {
        lines.append(QString::fromStdString(text));
    }
    text_->setPlainText(lines.join('\n'));
}

std::vector<AddressBlock> AddDialog::blocks() const {
    return blocksOfText(text_->toPlainText().toStdString()).blocks;
}

void AddDialog::textChanged() {
    const ReadBlocks read = blocksOfText(text_->toPlainText().toStdString());
    QString count =
        read.blocks.size() == 1 ? tr("1 address") : tr("%1 addresses").arg(read.blocks.size());
    if (!read.notUnderstood.empty()) {
        const QString first = QString::fromStdString(read.notUnderstood.front());
        count += tr("; not understood: %1").arg(first.left(40));
        if (read.notUnderstood.size() > 1) {
            count += tr(" and %1 more").arg(read.notUnderstood.size() - 1);
        }
    }
    count_->setText(count);
    add_->setEnabled(!read.blocks.empty());
}

} // namespace brindle::vardex
