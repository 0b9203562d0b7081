// The error screen: the message it was given (empty, or long with line breaks), "Try Again"
// returning to the welcome screen with everything else kept, and "Quit".

#include "ErrorView.h"
#include "SegmentedControl.h"
#include "UiTestSupport.h"

namespace pellix {

using uitest::AppUnderTest;
using uitest::must;
using uitest::Sandbox;

class ErrorViewTest : public QObject {
    Q_OBJECT

private slots:
    void emptyMessageShowsNoTextAndLeavesTheRestInPlace() {
        Sandbox sandbox;
        AppUnderTest app(sandbox.platform(), false);
        app.installer().setPhase(InstallerPhase::error);
        QVERIFY(app.showAndActivate());
        QTRY_VERIFY(qobject_cast<ErrorView*>(uitest::shownScreen(app.window())));
        auto* message = must<QLabel>(&app.window(), "errorMessage");
        QCOMPARE(message->text(), QString());
        QCOMPARE(message->height(), 0);
        expectFixedParts(app);
    }

    void longMessageWithLineBreaksIsShownWholeAndCentred() {
        Sandbox sandbox;
        AppUnderTest app(sandbox.platform(), false);
        const std::string text =
            "Failed to copy agent files: Permission denied. The workspace at "
            "/Users/someone/.openclaw/workspace-with-a-rather-long-name/agents/pellix-unified "
            "could not be written.\nCheck its permissions.\nThen try again.";
        app.installer().setErrorMessage(text);
        app.installer().setPhase(InstallerPhase::error);
        QVERIFY(app.showAndActivate());
        QTRY_VERIFY(qobject_cast<ErrorView*>(uitest::shownScreen(app.window())));
        auto* message = must<QLabel>(&app.window(), "errorMessage");
        QCOMPARE(message->text(), QString::fromStdString(text));
        QCOMPARE(message->font().pixelSize(), 14);
        QCOMPARE(message->palette().color(QPalette::WindowText),
                 theme::withOpacity(theme::color(NamedColor::red), 0.8));
        QVERIFY(message->alignment() & Qt::AlignHCenter);
        QCOMPARE(message->contentsMargins(), QMargins(40, 0, 40, 0));
        QCOMPARE(message->width(), 576);
        const int lines = message->height() / message->fontMetrics().height();
        QVERIFY(lines >= 5);
        QVERIFY(message->heightForWidth(message->width()) <= message->height());
        expectFixedParts(app);
        uitest::saveScreenshot(&app.window(), QStringLiteral("error-line-breaks"));
    }

    void tryAgainShowsWelcomeWithTheChoicesKeptAndTheStatusEvaluatedAnew() {
        Sandbox sandbox(false);
        AppUnderTest app(sandbox.platform(), false);
        app.installer().setScanPreset("vigilant");
        app.installer().setModelChoice("opus");
        app.installer().setErrorMessage("OpenClaw must be installed first.");
        app.installer().setPhase(InstallerPhase::error);
        QVERIFY(app.showAndActivate());
        QTRY_VERIFY(qobject_cast<ErrorView*>(uitest::shownScreen(app.window())));
        test::makeDirs(sandbox.openclawHome());  // installed while the error shows

        QTest::mouseClick(must<QPushButton>(&app.window(), "tryAgainButton"), Qt::LeftButton);
        QCOMPARE(uitest::name(app.installer().phase()), QStringLiteral("welcome"));
        QTRY_COMPARE(uitest::shownScreen(app.window())->objectName(),
                     QStringLiteral("welcomeView"));
        QVERIFY(must<QPushButton>(&app.window(), "scanPreset-vigilant")->isChecked());
        QVERIFY(must<QPushButton>(&app.window(), "modelChoice-opus")->isChecked());
        QCOMPARE(must<QLabel>(&app.window(), "openclawStatusText")->text(),
                 QStringLiteral("OpenClaw detected"));
        QVERIFY(must<QPushButton>(&app.window(), "installButton")->isEnabled());
    }

    void tryAgainLeavesEverythingButThePhaseAsItWas() {
        Sandbox sandbox;
        AppUnderTest app(sandbox.platform(), false);
        app.installer().setSteps(
            {InstallStep("Checking OpenClaw installation"), InstallStep("Detecting workspace")});
        test::updateStep(app.installer(), 1, StepStatus::failed, "No workspace-* directory found");
        app.installer().setErrorMessage(
            "No OpenClaw workspace found. Create one first: openclaw init");
        app.installer().setPhase(InstallerPhase::error);
        QVERIFY(app.showAndActivate());
        QTRY_VERIFY(qobject_cast<ErrorView*>(uitest::shownScreen(app.window())));
        const std::string firstId = app.installer().steps()[0].id;

        QTest::mouseClick(must<QPushButton>(&app.window(), "tryAgainButton"), Qt::LeftButton);
        QTRY_COMPARE(uitest::shownScreen(app.window())->objectName(),
                     QStringLiteral("welcomeView"));
        QCOMPARE(app.installer().errorMessage(),
                 std::string("No OpenClaw workspace found. Create one first: openclaw init"));
        QCOMPARE(app.installer().progress(), 1.0);
        QCOMPARE(app.installer().steps()[0].id, firstId);
        QCOMPARE(uitest::name(app.installer().steps()[1].status), QStringLiteral("failed"));
        QCOMPARE(app.installer().scanPreset(), std::string("standard"));
        QCOMPARE(app.installer().modelChoice(), std::string("sonnet"));
    }

    void quitEndsTheApplicationWithStatusOneAsTheCommandLineDoes() {
        Sandbox sandbox;
        AppUnderTest app(sandbox.platform(), false);
        app.installer().setPhase(InstallerPhase::error);
        QVERIFY(app.showAndActivate());
        QTRY_VERIFY(qobject_cast<ErrorView*>(uitest::shownScreen(app.window())));
        auto* quit = must<QPushButton>(&app.window(), "quitButton");
        QVERIFY(uitest::near(uitest::pixelAt(quit, {quit->width() / 2, 4}),
                             theme::color(NamedColor::red)));
        QCOMPARE(uitest::runEventLoop([quit] { QTest::mouseClick(quit, Qt::LeftButton); }), 1);
        QCOMPARE(uitest::name(app.installer().phase()), QStringLiteral("error"));
    }

private:
    static void expectFixedParts(AppUnderTest& app) {
        auto* emblem = must<QLabel>(&app.window(), "emblem");
        QCOMPARE(emblem->text(), QStringLiteral("\u274C"));
        QCOMPARE(emblem->font().pixelSize(), 72);
        auto* title = must<QLabel>(&app.window(), "title");
        QCOMPARE(title->text(), QStringLiteral("Installation Failed"));
        QCOMPARE(title->font().pixelSize(), 24);
        QCOMPARE(title->font().weight(), QFont::Bold);
        auto* tryAgain = must<QPushButton>(&app.window(), "tryAgainButton");
        auto* quit = must<QPushButton>(&app.window(), "quitButton");
        QCOMPARE(tryAgain->text(), QStringLiteral("Try Again"));
        QCOMPARE(quit->text(), QStringLiteral("Quit"));
        QVERIFY(tryAgain->isVisible() && quit->isVisible());
        QCOMPARE(quit->x() - (tryAgain->x() + tryAgain->width()), 16);
        QCOMPARE(quit->mapTo(&app.window(), QPoint()).y() + quit->height(), 520 - 32);
        auto* message = must<QLabel>(&app.window(), "errorMessage");
        QCOMPARE(message->y() - (title->y() + title->height()), 24);
        QCOMPARE(title->y() - (emblem->y() + emblem->height()), 24);
    }
};

}  // namespace pellix

PELLIX_UI_TEST(pellix::ErrorViewTest);
#include "ErrorViewTest.moc"
