#pragma once

#include <QLocale>
#include <QString>

namespace vela {

/// Shows the user-visible texts in the first of `locale`'s languages that the bundle has a
/// translation for (Resources/translations/vela_<language>.qm), replacing the one used before;
/// English, the texts' own language, needs none. Returns whether a translation is now in use.
/// Needs a QCoreApplication; main thread.
bool useTranslationFor(const QLocale& locale);

/// The bundle's folder of translation files.
QString translationsDirectory();

}  // namespace vela
