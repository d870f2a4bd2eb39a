#pragma once

#include <QString>

#include "KeyEventView.h"

namespace vela {

class CustomSegue;
class WizardWindow;

/// A page of the wizard: a view controller whose view is the window's whole content while it is
/// shown. Pages change only through named transitions (performSegueWithIdentifier), never by
/// hand. Main thread only.
class BaseViewController : public KeyEventView {
public:
    /// `identifier` is the page's storyboard ID, shown in the transition's log lines.
    explicit BaseViewController(QString identifier);
    ~BaseViewController() override;

    const QString& identifier() const { return identifier_; }

    /// Calls viewDidLoad the first time only; the window does so before the page appears, after
    /// the previous page has prepared it.
    void loadViewIfNeeded();

    /// Sets up the page's fixed content (once).
    virtual void viewDidLoad() {}
    /// Each time the page is about to be shown.
    virtual void viewWillAppear() {}
    /// Each time the page has been shown; runs after the window has drawn it.
    virtual void viewDidAppear() {}
    /// When the page has been replaced or its window closed.
    virtual void viewDidDisappear() {}
    /// Just before `segue` leaves this page: hands values on to its destination.
    virtual void prepareForSegue(CustomSegue& segue, QObject* sender);

    /// Creates the page that `identifier` leads to, lets this page prepare it and shows it in
    /// place of this one. An unknown identifier has no destination and changes nothing.
    void performSegueWithIdentifier(const QString& identifier, QObject* sender);

    /// How a page wants its window: the title and the standard buttons (close, minimise, zoom).
    struct WindowSettings {
        QString title;
        bool closeEnabled;
        bool miniaturizeEnabled;
        bool zoomEnabled;
        bool buttonsHidden;
    };
    /// Queued after the current event, when the page is in its window: sets the title and the
    /// standard buttons. No effect while the page is not in a window.
    void setWindowSettings(WindowSettings settings);
    /// Sets the window's title at once; no effect while the page is not in a window.
    void setWindowTitleText(const QString& title);
    /// Closes the window (always possible, also when its close button is disabled).
    void closeWindow();
    /// Ends the application: its event loop returns. Callers post it when the current event must
    /// finish first.
    void terminate();

    /// The window showing this page, or none.
    WizardWindow* wizardWindow() const;

private:
    void windowCloseButtonEnabled(bool enabled);
    void windowMiniaturizeButtonEnabled(bool enabled);
    void windowZoomButtonEnabled(bool enabled);
    void windowButtonHidden(bool hidden);

    QString identifier_;
    bool loaded_ = false;
};

}  // namespace vela
