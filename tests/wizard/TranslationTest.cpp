// The Japanese texts are complete (their use: the Japanese roads, ScreenshotTest.cpp).
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTranslator>
#include <QXmlStreamReader>

#include "Process.h"
#include "Translations.h"
#include "WizardFixture.h"

namespace vela::test {
namespace {

// Every text the sources pass to tr() or translate() today, as lupdate finds it, has a Japanese
// translation in the bundle: a new text without one fails here.
TEST(TranslationCatalogue, EveryVisibleTextHasAJapaneseTranslation) {
    const QString scratch = QDir::temp().filePath(
        QStringLiteral("vela-lupdate-%1.ts").arg(QCoreApplication::applicationPid()));
    const RunResult scan =
        run({VELA_TEST_LUPDATE, "-silent", "-locations", "none", VELA_TEST_SOURCE_ROOT "/wizard",
             VELA_TEST_SOURCE_ROOT "/entry", "-ts", scratch.toStdString()});
    ASSERT_EQ(scan.status, 0) << scan.err;

    QTranslator shipped;
    ASSERT_TRUE(shipped.load(QStringLiteral("vela_ja"), translationsDirectory()));
    QFile file(scratch);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    QXmlStreamReader xml(&file);
    QString context;
    int texts = 0;
    while (!xml.atEnd()) {
        xml.readNext();
        if (!xml.isStartElement()) {
            continue;
        }
        if (xml.name() == QLatin1String("name")) {
            context = xml.readElementText();
        } else if (xml.name() == QLatin1String("source")) {
            const QString source = xml.readElementText();
            ++texts;
            EXPECT_FALSE(
                shipped.translate(context.toUtf8().constData(), source.toUtf8().constData())
                    .isEmpty())
                << context.toStdString() << ": " << source.toStdString();
        }
    }
    file.remove();
    EXPECT_FALSE(xml.hasError());
    EXPECT_GE(texts, 20);
}

}  // namespace
}  // namespace vela::test
