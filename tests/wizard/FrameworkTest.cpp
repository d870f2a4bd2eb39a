// The page framework: keys, transitions by name, the background colour.
#include <QPushButton>
#include <QTest>

#include "BackgroundColor.h"
#include "InstallStart/InstallStartViewController.h"
#include "WizardFixture.h"

namespace vela::test {
namespace {

using PageFramework = WizardFixture;

// Command-W itself closes the window (the roads' Japanese overwrite).
TEST_F(PageFramework, OtherKeysAndATransitionWithoutDestinationKeepThePage) {
    const int status = runWizard([&](WizardWindow& window) {
        auto* start = waitForPage<InstallStartViewController>(window);
        ASSERT_NE(start, nullptr);
        // Keys reach the focused button first and travel up to the page.
        QTest::keyClick(start->installButton(), Qt::Key_W);
        QTest::keyClick(start->installButton(), Qt::Key_Q, Qt::ControlModifier);
        QTest::keyClick(start, Qt::Key_E, Qt::ControlModifier);
        start->performSegueWithIdentifier(QStringLiteral("toNowhere"), nullptr);
        QCoreApplication::processEvents();
        EXPECT_TRUE(window.isVisible()) << "W alone or Command with another key";
        EXPECT_EQ(window.contentViewController(), start);
        click(start->backButton());
        EXPECT_FALSE(start->backButton()->isEnabled());
    });
    EXPECT_EQ(status, 0) << "the start page's Cancel ends the application";
    EXPECT_EQ(countOf("svc: [InstallStartViewController]: dvc: [unknown]"), 1);
    EXPECT_EQ(countOf(": The source storyboardID: InstallStartViewController: The destination "
                      "storyboard ID: unknown"),
              1);
    EXPECT_TRUE(inOrder(
        messages(),
        {"CustomSegue::perform() start", "svc: [InstallStartViewController]: dvc: [unknown]",
         "[INFO] The segue performed: main:", "CustomSegue::perform() end",
         "[INFO] Start InstallStartViewController cancelButtonClicked",
         "[INFO] End InstallStartViewController cancelButtonClicked"}));
}

TEST(BackgroundColor, IsNoneUntilGivenAndThenTheColourGiven) {
    QWidget view;
    EXPECT_FALSE(getBackgroundColor(&view).has_value());
    EXPECT_FALSE(getBackgroundColor(nullptr).has_value());
    setBackgroundColor(&view, QColor(0x12, 0x34, 0x56));
    EXPECT_EQ(getBackgroundColor(&view), QColor(0x12, 0x34, 0x56));
    EXPECT_TRUE(view.autoFillBackground());
    EXPECT_EQ(view.palette().color(QPalette::Window), QColor(0x12, 0x34, 0x56));
}

}  // namespace
}  // namespace vela::test
