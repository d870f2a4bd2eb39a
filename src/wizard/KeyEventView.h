#pragma once

#include <QWidget>

namespace vela {

/// A view that takes keyboard focus and closes its window on Command-W (Ctrl-W off the Mac;
/// Qt reports the Mac's Command key as Control). Every key still reaches the base class first.
class KeyEventView : public QWidget {
public:
    explicit KeyEventView(QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
};

}  // namespace vela
