// The four alerts: which text goes where, their buttons and what they answer.
#include <QWidget>

#include "AlertUtil.h"
#include "Translations.h"
#include "WizardFixture.h"

namespace vela::test {
namespace {

using Alerts = WizardFixture;

TEST_F(Alerts, TheTitleIsTheHeadlineAndANullOneLeavesItEmpty) {
    answerNextAlert(0, QStringLiteral("alert-message"));
    AlertUtil::runModalWithMessage(QStringLiteral("the message"), QString());
    answerNextAlert(0, QStringLiteral("alert-title"));
    AlertUtil::runModalWithMessage(QString(), QStringLiteral("the title"));
    answerNextAlert(0, QStringLiteral("alert-error"));
    AlertUtil::runModalWithError(QStringLiteral("broken"), QStringLiteral("Error"));
    ASSERT_EQ(alerts.size(), 3u);
    EXPECT_EQ(alerts[0].title, QString());
    EXPECT_EQ(alerts[0].message, QStringLiteral("the message"));
    EXPECT_EQ(alerts[0].icon, QMessageBox::Warning);
    EXPECT_EQ(alerts[0].buttons, QStringList{QStringLiteral("OK")});
    EXPECT_EQ(alerts[1].title, QStringLiteral("the title"));
    EXPECT_EQ(alerts[1].message, QString()) << "a null message gives no text below";
    EXPECT_EQ(alerts[2].icon, QMessageBox::Critical);
}

TEST_F(Alerts, TwoButtonAlertsAnswerWithTheButtonsPosition) {
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
    ASSERT_TRUE(useTranslationFor(QLocale(QLocale::Japanese, QLocale::Japan)));
    answerNextAlert(1, QStringLiteral("ja-7-alert-logout"));
    AlertUtil::runModalWithErrorMessage(QString(), QString(), {}, nullptr);
    EXPECT_EQ(handled, (std::vector<int>{1000, 1001, 1001}));
    ASSERT_EQ(alerts.size(), 4u);
    EXPECT_EQ(alerts[0].buttons, (QStringList{QStringLiteral("Logout"), QStringLiteral("Cancel")}));
    EXPECT_EQ(alerts[2].buttons, (QStringList{QStringLiteral("Install"), QStringLiteral("Later")}));
    EXPECT_EQ(alerts[3].buttons,
              (QStringList{QStringLiteral("ログアウト"), QStringLiteral("キャンセル")}));
}

}  // namespace
}  // namespace vela::test
