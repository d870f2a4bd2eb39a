// The page framework: Command-W, transitions by name, the background colour.
#include <QPushButton>
#include <QTest>

#include "BackgroundColor.h"
#include "InstallComplete/InstallCompleteViewController.h"
#include "InstallStart/InstallStartViewController.h"
#include "WizardFixture.h"

namespace vela::test {
namespace {

using PageFramework = WizardFixture;

TEST_F(PageFramework, OnlyCommandWClosesTheWindowAndSoEndsTheApplication) {
    const int status = runWizard([&](WizardWindow& window) {
        auto* start = waitForPage<InstallStartViewController>(window);
        ASSERT_NE(start, nullptr);
        // Keys reach the focused button first and travel up to the page.
        QWidget* focused = start->installButton();
        QTest::keyClick(focused, Qt::Key_W);
        QTest::keyClick(focused, Qt::Key_Q, Qt::ControlModifier);
        QTest::keyClick(start, Qt::Key_E, Qt::ControlModifier);
        QCoreApplication::processEvents();
        EXPECT_TRUE(window.isVisible()) << "W alone or Command with another key";
        QTest::keyClick(focused, Qt::Key_W, Qt::ControlModifier | Qt::ShiftModifier);
        EXPECT_FALSE(window.isVisible()) << "only the Command bit is tested";
    });
    EXPECT_EQ(status, 0) << "the last window closed ends the application";
}

TEST_F(PageFramework, CommandWClosesAlsoAPageWhoseCloseButtonIsDisabled) {
    const int status = runWizard([&](WizardWindow& window) {
        auto* start = waitForPage<InstallStartViewController>(window);
        ASSERT_NE(start, nullptr);
        click(start->installButton());
        auto* complete = waitForPage<InstallCompleteViewController>(window);
        ASSERT_NE(complete, nullptr);
        ASSERT_TRUE(
            waitUntil([&] { return window.standardButtonsHidden(); }, 5000, "buttons hidden"));
        QTest::keyClick(complete->nextButton(), Qt::Key_W, Qt::ControlModifier);
        EXPECT_FALSE(window.isVisible());
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(countOf("nextButtonClicked"), 0);
}

TEST_F(PageFramework, ATransitionWithoutDestinationKeepsThePageAndSaysSo) {
    const int status = runWizard([&](WizardWindow& window) {
        auto* start = waitForPage<InstallStartViewController>(window);
        ASSERT_NE(start, nullptr);
        start->performSegueWithIdentifier(QStringLiteral("toNowhere"), nullptr);
        EXPECT_EQ(window.contentViewController(), start);
        click(start->backButton());
        EXPECT_FALSE(start->backButton()->isEnabled());
    });
    EXPECT_EQ(status, 0) << "the start page's Cancel ends the application";
    EXPECT_EQ(countOf("CustomSegue::perform() start"), 1);
    EXPECT_EQ(countOf("CustomSegue::perform() end"), 1);
    EXPECT_EQ(countOf("svc: [InstallStartViewController]: dvc: [unknown]"), 1);
    const long line = indexOf("[INFO] The segue performed: main:");
    ASSERT_GE(line, 0);
    EXPECT_NE(messages()[static_cast<std::size_t>(line)].find(
                  ": The source storyboardID: InstallStartViewController: The destination "
                  "storyboard ID: unknown"),
              std::string::npos);
    const long cancel = indexOf("[INFO] Start InstallStartViewController cancelButtonClicked");
    EXPECT_GT(indexOf("[INFO] End InstallStartViewController cancelButtonClicked"), cancel);
    EXPECT_GE(cancel, 0);
}

TEST(BackgroundColor, IsNoneUntilGivenAndThenTheColourGiven) {
    QWidget view;
    EXPECT_FALSE(getBackgroundColor(&view).has_value());
    EXPECT_FALSE(getBackgroundColor(nullptr).has_value());
    setBackgroundColor(&view, QColor(0x12, 0x34, 0x56));
    ASSERT_TRUE(getBackgroundColor(&view).has_value());
    EXPECT_EQ(*getBackgroundColor(&view), QColor(0x12, 0x34, 0x56));
    EXPECT_TRUE(view.autoFillBackground());
    EXPECT_EQ(view.palette().color(QPalette::Window), QColor(0x12, 0x34, 0x56));
}

}  // namespace
}  // namespace vela::test
