#include "Translations.h"

#include <QCoreApplication>
#include <QTranslator>

#include <memory>

#include "Bundle.h"
#include "Const.h"

namespace vela {

namespace {
std::unique_ptr<QTranslator>& installed() {
    static std::unique_ptr<QTranslator> translator;
    return translator;
}
}  // namespace

QString translationsDirectory() {
    return QString::fromStdString(
        joinPath(Bundle::mainBundle().bundlePath(), "Contents/Resources/translations"));
}

bool useTranslationFor(const QLocale& locale) {
    std::unique_ptr<QTranslator>& current = installed();
    if (current) {
        QCoreApplication::removeTranslator(current.get());
        current.reset();
    }
    auto translator = std::make_unique<QTranslator>();
    if (!translator->load(locale, QStringLiteral("vela"), QStringLiteral("_"),
                          translationsDirectory())) {
        return false;
    }
    QCoreApplication::installTranslator(translator.get());
    current = std::move(translator);
    return true;
}

}  // namespace vela
