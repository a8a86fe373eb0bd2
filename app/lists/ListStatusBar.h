// SPDX-License-Identifier: BSD-2-Clause
//
// The line under the tables of a list window: a coloured dot and what was counted. A widget of the
// list view, main thread.
#pragma once

#include "app/lists/ListWording.h"

#include <QWidget>

class QLabel;

namespace brindle {

class ListStatusBar final : public QWidget {
    Q_OBJECT
  public:
    explicit ListStatusBar(QWidget* parent = nullptr);

    void showStatus(const ListStatus& status);

  protected:
    void changeEvent(QEvent* event) override;

  private:
    void colourDot();

    QLabel* const dot_;
    QLabel* const text_;
    bool connected_ = false;
};

} // namespace brindle
