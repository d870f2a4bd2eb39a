#pragma once

#include <QCoreApplication>
#include <QString>

#include <functional>

class QWidget;

namespace vela {

/// Modal message boxes that bring the installer to the front first, so that they are seen even
/// when the installer was started in the background. In every operation the title is the
/// headline and the message the smaller text below it; a null title gives an empty headline, a
/// null message no text below. Main thread only; each blocks until the user answers.
class AlertUtil {
    Q_DECLARE_TR_FUNCTIONS(vela::AlertUtil)

public:
    /// The response of the first button added; the second is one more.
    static constexpr int kFirstButtonReturn = 1000;
    static constexpr int kSecondButtonReturn = 1001;

    using CompletionHandler = std::function<void(int response)>;

    /// A warning with a single "OK" button.
    static void runModalWithMessage(const QString& message, const QString& title);
    /// The same with the critical style.
    static void runModalWithError(const QString& message, const QString& title);
    /// Two buttons titled by the translations of `primaryButton` and `secondaryButton` (in that
    /// order, the primary one focused), modal to `window` where one is given. Returns the
    /// response, which `completionHandler` (where given) also receives.
    static int runModalWithSelectMessage(const QString& message, const QString& title,
                                         const QString& primaryButton,
                                         const QString& secondaryButton,
                                         const CompletionHandler& completionHandler,
                                         QWidget* window);
    /// "Logout" (1000) and "Cancel" (1001), modal to `window` where one is given.
    static int runModalWithErrorMessage(const QString& message, const QString& title,
                                        const CompletionHandler& completionHandler,
                                        QWidget* window);
};

}  // namespace vela
