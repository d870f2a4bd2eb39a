// The four alerts: which text goes where, their buttons and what they answer.
#include <QWidget>

#include "AlertUtil.h"
#include "Translations.h"
#include "WizardFixture.h"

namespace vela::test {
namespace {

using Alerts = WizardFixture;

TEST_F(Alerts, TextsGoWhereTheyBelongAndTheButtonsPositionIsTheAnswer) {
    answerNextAlert(0, QStringLiteral("alert-message"));
    AlertUtil::runModalWithMessage(QStringLiteral("the message"), QString());
    answerNextAlert(0, QStringLiteral("alert-title"));
    AlertUtil::runModalWithMessage(QString(), QStringLiteral("the title"));
    answerNextAlert(0, QStringLiteral("alert-error"));
    AlertUtil::runModalWithError(QStringLiteral("broken"), QStringLiteral("Error"));

    QWidget window;
    window.show();
    std::vector<int> handled;
    auto handler = [&handled](int response) { handled.push_back(response); };
    const QString m = QStringLiteral("m");
    answerNextAlert(0, QStringLiteral("alert-logout"));
    EXPECT_EQ(AlertUtil::runModalWithErrorMessage(m, m, handler, &window), 1000);
    answerNextAlert(1, QStringLiteral("alert-logout"));
    EXPECT_EQ(AlertUtil::runModalWithErrorMessage(m, m, handler, &window), 1001);
    answerNextAlert(1, QStringLiteral("alert-select"));
    EXPECT_EQ(AlertUtil::runModalWithSelectMessage(m, m, QStringLiteral("Install"),
                                                   QStringLiteral("Later"), handler, nullptr),
              1001);
    EXPECT_EQ(handled, (std::vector<int>{1000, 1001, 1001}));
    ASSERT_TRUE(useTranslationFor(QLocale(QLocale::Japanese, QLocale::Japan)));
    answerNextAlert(1, QStringLiteral("ja-7-alert-logout"));
    AlertUtil::runModalWithErrorMessage(QString(), QString(), {}, nullptr);
    // A null title leaves the headline empty, a null message the text below.
    EXPECT_EQ(alerts,
              (std::vector<std::string>{"2:  / the message [OK]", "2: the title /  [OK]",
                                        "3: Error / broken [OK]", "2: m / m [Logout, Cancel]",
                                        "2: m / m [Logout, Cancel]", "2: m / m [Install, Later]",
                                        "2:  /  [ログアウト, キャンセル]"}));
}

}  // namespace
}  // namespace vela::test
