// SPDX-License-Identifier: BSD-2-Clause
//
// The filter field: a magnifier, what the user typed with a mistake underlined, a button to clear
// it, and how many rows pass. A widget of the logs window, main thread.
#pragma once

#include "app/FilterLineEdit.h"

#include <QString>

#include <cstddef>

class QLabel;

namespace brindle {

class SearchField final : public FilterLineEdit {
    Q_OBJECT
  public:
    explicit SearchField(QWidget* parent = nullptr);

    /// "12/1,000" while something is typed, else nothing.
    void setCounts(std::size_t shown, std::size_t total);
    /// `position` and `length`: bytes of the field's text in UTF-8.
    void markMistake(std::size_t position, std::size_t length);
    void clearMistake();

  protected:
    void resizeEvent(QResizeEvent* event) override;

  private:
    void placeCount();

    QLabel* const count_;
    bool marked_ = false;
};

} // namespace brindle
