#pragma once

#include <gtest/gtest.h>

#include <QString>
#include <QStringList>

#include <functional>
#include <string>
#include <typeinfo>
#include <vector>

#include "Bundle.h"
#include "EventLoop.h"
#include "LogReader.h"
#include "TempInstallRoot.h"
#include "WizardWindow.h"

class QAbstractButton;

namespace vela::test {

/// A fresh target root for the wizard of this process, a reader of the log from the test's
/// start on, and the application's event loop to run the wizard in. English again at the end.
class WizardFixture : public testing::Test {
protected:
    WizardFixture();
    ~WizardFixture() override;

    /// Shows a new wizard window (installing from `bundle` when given) and runs the
    /// application's event loop with `script` started inside it. Returns the loop's status once
    /// the application has ended; -1 at once when the test has failed by the script's end, or
    /// when the application has not ended shortly after it.
    int runWizard(const std::function<void(WizardWindow&)>& script,
                  const std::optional<Bundle>& bundle = std::nullopt);

    /// Waits until `condition` holds on the page shown. Fails the test at once, naming
    /// `awaited` and the page shown, when the road stops elsewhere (a page that waits for a
    /// click, or a closed window), or after `timeoutMs`.
    static bool waitOnPage(const WizardWindow& window, const std::function<bool()>& condition,
                           const char* awaited, int timeoutMs = 20000);
    /// Waits as waitOnPage until the window shows a page of type `Page`; null if it does not.
    template <typename Page>
    static Page* waitForPage(WizardWindow& window) {
        const auto shown = [&] { return dynamic_cast<Page*>(window.contentViewController()); };
        waitOnPage(
            window, [&] { return shown() != nullptr; }, typeid(Page).name(), 60000);
        return shown();
    }

    /// A real mouse click in the middle of `button`.
    static void click(QAbstractButton* button);
    /// Answers the next alert that appears with its button `index`, recording it in `alerts` as
    /// "icon: headline / text [buttons]" (icon 2 a warning, 3 critical) and saving it as
    /// build/screenshots/<shot>.png.
    void answerNextAlert(int index, const QString& shot);

    /// "[LEVEL] message" of every line logged since the test began.
    std::vector<std::string> messages() const { return log.messages(); }
    long countOf(const std::string& text) const { return test::countOf(messages(), text); }

    /// Saves the window as build/screenshots/<name>.png and fails for any label or button of
    /// its page whose text is cut off or that lies outside the page.
    static void shoot(WizardWindow& window, const QString& name);

    /// A copy of the built installer bundle beside the target root, once `change` (given the
    /// copy's path) has changed it.
    Bundle bundleCopy(const std::function<void(const std::string&)>& change) const;

    TempInstallRoot root;
    LogReader log;
    std::vector<std::string> alerts;
};

}  // namespace vela::test
