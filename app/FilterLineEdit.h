// SPDX-License-Identifier: BSD-2-Clause
//
// The field above a table in which its filter is typed: Escape clears it and then leaves, Return
// and Down go on in the table. Main thread.
#pragma once

#include <QLineEdit>

namespace brindle {

class PictureStore;

class FilterLineEdit : public QLineEdit {
    Q_OBJECT
  public:
    /// Both in average characters.
    FilterLineEdit(int fewest, int most, QWidget* parent);

    void setPictures(PictureStore& pictures);
    /// The user asked for the field: by a shortcut, say.
    void enter();

  signals:
    /// The user is done with the field and goes on in the table.
    void left();

  protected:
    void keyPressEvent(QKeyEvent* event) override;
};

} // namespace brindle
