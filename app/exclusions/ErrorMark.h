// SPDX-License-Identifier: BSD-2-Clause
//
// The mark beside the text field that tells of text that is no exclusion. Keeps its place while it
// is hidden, so that nothing moves when it shows. Main thread.
#pragma once

#include <QWidget>

namespace brindle {

class PictureStore;

class ErrorMark final : public QWidget {
    Q_OBJECT
  public:
    explicit ErrorMark(QWidget* parent = nullptr);

    /// Nothing is painted before; `pictures` outlives the mark.
    void setPictures(PictureStore& pictures);
    QSize sizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    PictureStore* pictures_ = nullptr;
};

} // namespace brindle
