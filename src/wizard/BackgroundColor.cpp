#include "BackgroundColor.h"

#include <QPalette>
#include <QVariant>
#include <QWidget>

namespace vela {

namespace {
// A palette always has some window colour; the property tells whether we set one.
constexpr const char* kBackgroundColorProperty = "vela_backgroundColor";
}  // namespace

void setBackgroundColor(QWidget* view, const QColor& color) {
    if (view == nullptr) {
        return;
    }
    QPalette palette = view->palette();
    palette.setColor(QPalette::Window, color);
    view->setPalette(palette);
    view->setAutoFillBackground(true);
    view->setProperty(kBackgroundColorProperty, color);
}

std::optional<QColor> getBackgroundColor(const QWidget* view) {
    if (view == nullptr) {
        return std::nullopt;
    }
    QVariant value = view->property(kBackgroundColorProperty);
    if (!value.isValid()) {
        return std::nullopt;
    }
    return value.value<QColor>();
}

}  // namespace vela
