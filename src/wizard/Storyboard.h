#pragma once

#include <QString>

#include <memory>

namespace vela {

class BaseViewController;
class WizardWindow;

/// The wizard's pages and the transitions between them.
class Storyboard {
public:
    /// The wizard's window showing its first page, not yet on screen.
    static std::unique_ptr<WizardWindow> instantiateWindow();
    /// The first page (the start page).
    static std::unique_ptr<BaseViewController> instantiateInitialController();
    /// A new page for the destination of the transition `segueIdentifier`, one of the names in
    /// `Segue`; none for any other name.
    static std::unique_ptr<BaseViewController> instantiateDestination(
        const QString& segueIdentifier);
};

}  // namespace vela
