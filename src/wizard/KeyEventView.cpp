#include "KeyEventView.h"

#include <QKeyEvent>

namespace vela {

KeyEventView::KeyEventView(QWidget* parent) : QWidget(parent) {
    setFocusPolicy(Qt::StrongFocus);
}

void KeyEventView::paintEvent(QPaintEvent* event) {
    QWidget::paintEvent(event);
}

void KeyEventView::keyPressEvent(QKeyEvent* event) {
    QWidget::keyPressEvent(event);
    // Only the Command bit is tested, so Command-Shift-W closes too.
    if (event->modifiers().testFlag(Qt::ControlModifier) && event->key() == Qt::Key_W) {
        if (QWidget* top = window()) {
            top->close();
        }
    }
}

}  // namespace vela
