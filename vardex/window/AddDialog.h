// SPDX-License-Identifier: BSD-2-Clause
//
// Where addresses are typed, pasted, or offered by the viewer before they go on the list. Not
// modal: more may be offered while it is open. A child of the window; main thread.
#pragma once

#include "vardex/guard/AddressBlock.h"

#include <QDialog>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>

#include <string>
#include <vector>

namespace brindle::vardex {

class AddDialog final : public QDialog {
    Q_OBJECT
  public:
    explicit AddDialog(QWidget* parent);

    /// Puts texts below those that are there, one a line.
    void offer(const std::vector<std::string>& texts);
    /// The addresses and blocks that are written there now.
    std::vector<AddressBlock> blocks() const;

  private:
    void textChanged();

    QPlainTextEdit* const text_ = new QPlainTextEdit(this);
    QLabel* const count_ = new QLabel(this);
    QPushButton* add_ = nullptr;
};

} // namespace brindle::vardex
