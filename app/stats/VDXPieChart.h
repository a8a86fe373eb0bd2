// SPDX-License-Identifier: BSD-2-Clause
//
// A pie chart as a widget: a disc in the middle of it, whatever its size. Says what is under the
// pointer and marks a slice that somebody else points at. Light and dark palettes. Main thread.
//
//     auto* chart = new VDXPieChart(container);
//     chart->setColori(tallyColours());
//     chart->setInfo({3, 1});
#pragma once

#include "app/stats/PieSlices.h"
#include "core/stats/TallyColours.h"

#include <QString>
#include <QWidget>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <vector>

namespace brindle {

class VDXPieChart final : public QWidget {
    Q_OBJECT
  public:
    /// What an entry of the data is called, by its place.
    using Labels = std::function<QString(std::size_t entry)>;

    explicit VDXPieChart(QWidget* parent = nullptr);

    /// Of the disc, in points.
    double radius() const { return radius_; }
    void setRadius(double points);
    /// The data, in the order it is drawn.
    const std::vector<std::int64_t>& info() const { return info_; }
    void setInfo(std::vector<std::int64_t> info);
    /// Colours of the slices, the first under 1. One that is missing is grey.
    const std::map<int, TallyColour>& colori() const { return colori_; }
    void setColori(std::map<int, TallyColour> colori);
    /// Without them the entries are numbered. Asked whenever a text is shown.
    void setLabels(Labels labels);

    const PieSlices& pie() const { return pie_; }
    /// "443 https"; "12 others" for the remainder of several entries.
    QString sliceName(std::size_t slice) const;
    /// "1,234 of 5,678 records (21.7 %)".
    QString sliceCount(std::size_t slice) const;
    /// Marks a slice, or none.
    void setHighlighted(std::optional<std::size_t> slice);
    std::optional<std::size_t> highlighted() const { return highlighted_; }

    QSize sizeHint() const override;

  signals:
    /// The pointer came to a slice, or left them all.
    void sliceHovered(std::optional<std::size_t> slice);
    void sliceClicked(std::size_t slice);
    void highlightChanged(std::optional<std::size_t> slice);

  protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;

  private:
    QString sliceText(std::size_t slice) const;
    std::optional<std::size_t> sliceUnder(QPointF position) const;
    void hover(std::optional<std::size_t> slice);
    void describe();

    double radius_ = 90.0;
    std::vector<std::int64_t> info_;
    std::map<int, TallyColour> colori_;
    Labels labels_;
    PieSlices pie_;
    std::optional<std::size_t> highlighted_;
    std::optional<std::size_t> hovered_;
};

} // namespace brindle
