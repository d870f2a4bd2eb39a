#pragma once

#include <QColor>

#include <optional>

class QWidget;

namespace vela {

/// Gives `view` a solid background of `color` (the whole rectangle, children drawn over it).
void setBackgroundColor(QWidget* view, const QColor& color);

/// The colour given by setBackgroundColor, or none when the view never received one.
std::optional<QColor> getBackgroundColor(const QWidget* view);

}  // namespace vela
