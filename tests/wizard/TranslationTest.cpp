// The Japanese texts: used for a Japanese system, complete, and not used for other languages.
#include <QDir>
#include <QFile>
#include <QPushButton>
#include <QTranslator>
#include <QXmlStreamReader>

#include "AlertUtil.h"
#include "InstallStart/InstallStartViewController.h"
#include "Process.h"
#include "Translations.h"
#include "WizardFixture.h"

namespace vela::test {
namespace {

class Translation : public WizardFixture {
protected:
    ~Translation() override { useTranslationFor(QLocale(QLocale::English, QLocale::UnitedStates)); }
};

TEST_F(Translation, AJapaneseSystemShowsTheJapaneseTexts) {
    ASSERT_TRUE(useTranslationFor(QLocale(QLocale::Japanese, QLocale::Japan)));
    const int status = runWizard([&](WizardWindow& window) {
        auto* start = waitForPage<InstallStartViewController>(window);
        ASSERT_NE(start, nullptr);
        ASSERT_TRUE(waitUntil([&] { return !window.windowTitle().isEmpty(); }));
        EXPECT_EQ(window.windowTitle(),
                  QStringLiteral("VELA デスクトップアプリケーションのインストール"));
        EXPECT_EQ(start->installButton()->text(), QStringLiteral("インストール"));
        EXPECT_EQ(start->backButton()->text(), QStringLiteral("キャンセル"));
        click(start->backButton());
    });
    EXPECT_EQ(status, 0);

    answerNextAlert(1);
    AlertUtil::runModalWithErrorMessage(QString(), QString(), {}, nullptr);
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_EQ(alerts[0].buttons,
              (QStringList{QStringLiteral("ログアウト"), QStringLiteral("キャンセル")}));
}

TEST_F(Translation, OtherLanguagesKeepTheEnglishTexts) {
    EXPECT_FALSE(useTranslationFor(QLocale(QLocale::German, QLocale::Germany)));
    EXPECT_FALSE(useTranslationFor(QLocale(QLocale::English, QLocale::UnitedKingdom)));
    const int status = runWizard([&](WizardWindow& window) {
        auto* start = waitForPage<InstallStartViewController>(window);
        ASSERT_NE(start, nullptr);
        EXPECT_EQ(start->installButton()->text(), QStringLiteral("Install"));
        click(start->backButton());
    });
    EXPECT_EQ(status, 0);
}

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
