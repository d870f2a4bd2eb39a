#pragma once

#include <QString>

#include <memory>

namespace vela {

class BaseViewController;

/// A named page change: replaces the source page in its window by the destination, in place
/// (no second window, no animation).
class CustomSegue {
public:
    /// Owns `destination` until perform() hands it to the window; none for an unknown name.
    CustomSegue(QString identifier, BaseViewController* source,
                std::unique_ptr<BaseViewController> destination);
    ~CustomSegue();

    const QString& identifier() const { return identifier_; }
    BaseViewController* destinationController() const { return destination_.get(); }

    /// Main thread. Shows the destination in the source's window; the window lets the source go.
    /// Without a destination only the log lines are written and the source stays.
    void perform();

private:
    QString identifier_;
    BaseViewController* source_;
    std::unique_ptr<BaseViewController> destination_;
};

}  // namespace vela
