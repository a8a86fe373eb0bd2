// SPDX-License-Identifier: BSD-2-Clause
//
// Saves one picture of a window as DIRECTORY/NAME.png once the window shows its content: soon after
// it shows many rows, or a while after the first one. Replaces an older file in one step. Does
// nothing without a directory. A child of its window, main thread.
//
//     picture_ = new WindowPicture(window, directory, "logs");
//     picture_->contentChanged(rows);        // each time, with the number of rows shown
#pragma once

#include <QObject>
#include <QString>
#include <QTimer>
#include <QWidget>

#include <cstdint>

namespace brindle {

class WindowPicture final : public QObject {
    Q_OBJECT
  public:
    /// `directory`: empty for no picture; made when it does not exist.
    WindowPicture(QWidget* window, QString directory, QString name);

    void contentChanged(std::int64_t rowsShown);

  signals:
    /// Not emitted when the file could not be written.
    void saved(const QString& path);

  private:
    void save();

    QWidget* const window_;
    const QString directory_;
    const QString name_;
    QTimer timer_;
    bool done_ = false;
    bool many_ = false;
};

} // namespace brindle
