// The window for keyboard users: after every change of screen, focus is on the screen's main
// control with its ring showing; Return presses the main button and Escape the other way out
// where the screen has one; the ring shows on the purple and red buttons and on the pickers.

#include <QScrollArea>

#include "InstallingView.h"
#include "PushButton.h"
#include "UiTestSupport.h"

namespace pellix {

using uitest::AppUnderTest;
using uitest::must;
using uitest::PhaseLog;
using uitest::Sandbox;

namespace {

Platform parked(const Sandbox& sandbox) {
    Platform platform = sandbox.platform();
    platform.runBlockingJob = uitest::parkedExecutor();
    return platform;
}

QString focusName() {
    QWidget* focus = QApplication::focusWidget();
    return focus == nullptr ? QStringLiteral("(nothing)") : focus->objectName();
}

bool ringShows() {
    QWidget* focus = QApplication::focusWidget();
    return focus != nullptr && focus->property("focusRing").toBool();
}

}  // namespace

class KeyboardTest : public QObject {
    Q_OBJECT

private slots:
    void welcomeStartsOnInstallAndReturnStartsTheInstall() {
        Sandbox sandbox;
        AppUnderTest app(parked(sandbox), false);
        PhaseLog log(app.installer());
        QVERIFY(app.showAndActivate());
        QTRY_COMPARE(focusName(), QStringLiteral("installButton"));
        QVERIFY(ringShows());
        uitest::saveScreenshot(&app.window(), QStringLiteral("focus-ring-install-button"));
        uitest::pressKey(&app.window(), Qt::Key_Escape);  // no other way out here
        QCOMPARE(log.count(InstallerPhase::installing), 0);
        uitest::pressKey(&app.window(), Qt::Key_Return);
        QCOMPARE(log.count(InstallerPhase::installing), 1);
        QTRY_COMPARE(focusName(), QStringLiteral("stepList"));
        QVERIFY(qobject_cast<InstallingView*>(uitest::shownScreen(app.window())));
    }

    void welcomeWithoutOpenClawStartsOnTheScanPickerAndReturnDoesNothing() {
        Sandbox sandbox(false);
        AppUnderTest app(parked(sandbox), false);
        PhaseLog log(app.installer());
        QVERIFY(app.showAndActivate());
        QTRY_COMPARE(focusName(), QStringLiteral("scanPreset-standard"));
        QVERIFY(ringShows());
        uitest::saveScreenshot(&app.window(), QStringLiteral("focus-ring-first-picker"));
        QTest::keyClick(&app.window(), Qt::Key_Return);
        QCOMPARE(log.count(InstallerPhase::installing), 0);
    }

    void focusRingOnTheFilledButtonLeavesItsFillAndSizeAlone() {
        Sandbox sandbox;
        AppUnderTest app(parked(sandbox), false);
        QVERIFY(app.showAndActivate());
        auto* install = must<PushButton>(&app.window(), "installButton");
        QTRY_VERIFY(install->hasFocus());
        const QSize focusedSize = install->size();
        const QImage focused = install->grab().toImage();
        install->clearFocus();
        QTRY_VERIFY(!install->property("focusRing").toBool());
        const QImage plain = install->grab().toImage();
        QCOMPARE(install->size(), focusedSize);
        const QPoint middle(install->width() / 2, 6);
        QCOMPARE(focused.pixelColor(middle), plain.pixelColor(middle));
        QVERIFY(uitest::near(plain.pixelColor(3, install->height() / 2),
                             theme::color(NamedColor::purple), 12));
        // On the edge the ring stands out from the purple: white inside, blue outside.
        const QColor inner = focused.pixelColor(2, install->height() / 2);
        QVERIFY2(inner.lightness() > 200, qPrintable(inner.name()));
        const QColor outer = focused.pixelColor(0, install->height() / 2);
        QVERIFY2(outer.blue() > 150 && outer.red() < 120, qPrintable(outer.name()));
    }

    void completeStartsOnDoneAndReturnEndsWithZero() {
        Sandbox sandbox;
        AppUnderTest app(parked(sandbox), false);
        QVERIFY(app.showAndActivate());
        app.installer().setPhase(InstallerPhase::complete);
        QTRY_COMPARE(focusName(), QStringLiteral("doneButton"));
        QVERIFY(ringShows());
        uitest::saveScreenshot(&app.window(), QStringLiteral("focus-ring-done-button"));
        QWidget* window = &app.window();
        QCOMPARE(uitest::runEventLoop([window] { uitest::pressKey(window, Qt::Key_Return); }), 0);
    }

    void errorStartsOnQuitEscapeTriesAgainAndReturnQuitsWithOne() {
        Sandbox sandbox;
        AppUnderTest app(parked(sandbox), false);
        QVERIFY(app.showAndActivate());
        app.installer().setPhase(InstallerPhase::error);
        QTRY_COMPARE(focusName(), QStringLiteral("quitButton"));
        QVERIFY(ringShows());
        uitest::saveScreenshot(&app.window(), QStringLiteral("focus-ring-quit-button"));
        uitest::pressKey(&app.window(), Qt::Key_Escape);
        QTRY_COMPARE(uitest::shownScreen(app.window())->objectName(),
                     QStringLiteral("welcomeView"));
        QTRY_COMPARE(focusName(), QStringLiteral("installButton"));

        app.installer().setPhase(InstallerPhase::error);
        QTRY_COMPARE(focusName(), QStringLiteral("quitButton"));
        QWidget* window = &app.window();
        QCOMPARE(uitest::runEventLoop([window] { uitest::pressKey(window, Qt::Key_Return); }), 1);
    }

    void returnAnywhereOnTheErrorScreenPressesQuitEvenWithoutFocus() {
        Sandbox sandbox;
        AppUnderTest app(parked(sandbox), false);
        app.installer().setPhase(InstallerPhase::error);
        QVERIFY(app.showAndActivate());
        QTRY_VERIFY(QApplication::focusWidget() != nullptr);
        QApplication::focusWidget()->clearFocus();
        QWidget* window = &app.window();
        QCOMPARE(uitest::runEventLoop([window] { QTest::keyClick(window, Qt::Key_Return); }), 1);
    }

    void keypadEnterPressesDoneToo() {
        Sandbox sandbox;
        AppUnderTest app(parked(sandbox), false);
        app.installer().setPhase(InstallerPhase::complete);
        QVERIFY(app.showAndActivate());
        QTRY_COMPARE(focusName(), QStringLiteral("doneButton"));
        QCOMPARE(uitest::runEventLoop([] {
                     QTest::keyClick(QApplication::focusWidget(), Qt::Key_Enter,
                                     Qt::KeypadModifier);
                 }),
                 0);
    }

    void keypadEnterOnTryAgainPressesTryAgainNotQuit() {
        Sandbox sandbox;
        AppUnderTest app(parked(sandbox), false);
        app.installer().setPhase(InstallerPhase::error);
        QVERIFY(app.showAndActivate());
        QTRY_COMPARE(focusName(), QStringLiteral("quitButton"));
        must<QPushButton>(&app.window(), "tryAgainButton")->setFocus(Qt::TabFocusReason);
        QTRY_COMPARE(focusName(), QStringLiteral("tryAgainButton"));
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Enter, Qt::KeypadModifier);
        QTRY_COMPARE(uitest::name(app.installer().phase()), QStringLiteral("welcome"));
    }
};

}  // namespace pellix

PELLIX_UI_TEST(pellix::KeyboardTest);
#include "KeyboardTest.moc"
