#pragma once

namespace vela {

/// Runs the wizard until its last window closes or a page ends it: the application object and
/// its delegate, the translation for the system's language, and the window with the start page.
/// Refuses (with an alert) while another installer works on the same target. Returns the
/// status of the application's event loop.
int applicationMain(int& argc, char** argv);

/// Shows one warning alert (texts in the system's language) before any window exists, for
/// start-up's refusals; `message` and `title` are English keys of the translation table.
void runStartUpAlert(int& argc, char** argv, const char* context, const char* message,
                     const char* title);

}  // namespace vela
