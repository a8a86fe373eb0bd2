// SPDX-License-Identifier: BSD-2-Clause
//
// The field over a tally table in which its filter is typed: a magnifier, a button to clear it,
// and the keys that lead on into the table. Main thread.
#pragma once

#include <QLineEdit>

namespace brindle {

class PictureStore;

class FilterField final : public QLineEdit {
    Q_OBJECT
  public:
    explicit FilterField(QWidget* parent = nullptr);

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
