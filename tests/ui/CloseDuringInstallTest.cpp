// Closing the window while an install runs: it asks first, going on leaves the install alone, and
// quitting keeps the window up, says it stops after the current step, and ends with status 1 once
// the running child is reaped and no further row has started.

#include <sys/wait.h>

#include <QElapsedTimer>
#include <QMessageBox>
#include <QScrollArea>
#include <cerrno>

#include "CompleteView.h"
#include "UiTestSupport.h"

namespace pellix {

using uitest::AppUnderTest;
using uitest::kInstallTimeoutMs;
using uitest::must;
using uitest::Sandbox;

namespace {

bool noChildProcessLeft() {
    int status = 0;
    return waitpid(-1, &status, WNOHANG) == -1 && errno == ECHILD;
}

// Starts an install whose gateway restart takes two seconds, and waits until that child runs.
bool startSlowInstall(AppUnderTest& app, Sandbox& sandbox) {
    test::writeFile(sandbox.fakeBin() + "/sleep-openclaw", "2\n");
    if (!app.showAndActivate()) return false;
    app.clickInstall();
    return QTest::qWaitFor(
        [&] { return sandbox.calls().find("openclaw gateway restart") != std::string::npos; },
        kInstallTimeoutMs);
}

}  // namespace

class CloseDuringInstallTest : public QObject {
    Q_OBJECT

private slots:
    void closingMidInstallAsksAndContinueLeavesTheInstallRunning() {
        Sandbox sandbox;
        AppUnderTest app(sandbox.platform());
        QVERIFY(startSlowInstall(app, sandbox));
        ContentView& window = app.window();
        QVERIFY(!window.close());
        QTRY_VERIFY(window.closeConfirmation() != nullptr &&
                    window.closeConfirmation()->isVisible());
        QMessageBox* box = window.closeConfirmation();
        QCOMPARE(box->text(), QStringLiteral("The installation is not finished."));
        QCOMPARE(box->informativeText(),
                 QStringLiteral("If you quit now, the installer stops after the current step and "
                                "Pellix is left partly installed. Run the installer again to "
                                "finish."));
        auto* keepGoing = must<QPushButton>(box, "continueInstallingButton");
        QCOMPARE(keepGoing->text(), QStringLiteral("Continue Installing"));
        QCOMPARE(must<QPushButton>(box, "quitAnywayButton")->text(), QStringLiteral("Quit Anyway"));
        QCOMPARE(box->defaultButton(), keepGoing);
        QVERIFY(window.isVisible());
        uitest::saveScreenshot(box, QStringLiteral("close-confirmation"));
        uitest::saveScreenshot(&window, QStringLiteral("close-confirmation-window"));

        QTest::keyClick(box, Qt::Key_Escape);
        QTRY_VERIFY(window.closeConfirmation() == nullptr);
        QVERIFY(!window.stopping());
        QTRY_COMPARE_WITH_TIMEOUT(uitest::name(app.installer().phase()), QStringLiteral("complete"),
                                  kInstallTimeoutMs);
        QTRY_VERIFY(qobject_cast<CompleteView*>(uitest::shownScreen(window)));
    }

    void quitAnywayStopsAfterTheCurrentStepAndExitsWithOneOnceTheChildIsReaped() {
        Sandbox sandbox;
        AppUnderTest app(sandbox.platform());
        QVERIFY(startSlowInstall(app, sandbox));
        ContentView* window = &app.window();
        QElapsedTimer clock;
        QString noticeText;
        bool noticeShown = false;
        bool windowShown = false;
        bool runningRowInView = false;
        const int status = uitest::runEventLoop([&] {
            clock.start();
            window->close();
            QTimer::singleShot(50, window, [&] {
                QTest::mouseClick(
                    must<QPushButton>(window->closeConfirmation(), "quitAnywayButton"),
                    Qt::LeftButton);
                QTimer::singleShot(100, window, [&] {
                    auto* notice = must<QLabel>(window, "stoppingNotice");
                    noticeShown = notice->isVisible();
                    noticeText = notice->text();
                    windowShown = window->isVisible();
                    auto* list = must<QScrollArea>(window, "stepList");
                    auto* row = must<QWidget>(window, "stepRow-9");
                    const QRect place(row->mapTo(list->viewport(), QPoint()), row->size());
                    runningRowInView = list->viewport()->rect().contains(place);
                    uitest::saveScreenshot(window, QStringLiteral("stopping-after-current-step"));
                    window->close();  // a second close while stopping changes nothing
                });
            });
        });
        QCOMPARE(status, 1);
        QVERIFY2(clock.elapsed() >= 1000, "the running child was waited for");
        QVERIFY(noticeShown);
        QVERIFY(windowShown);
        QVERIFY2(runningRowInView, "the notice takes room, but the running row stays in view");
        QCOMPARE(
            noticeText,
            QStringLiteral("Quitting: the installer stops once the current step has finished."));
        QVERIFY(!app.executor().isBusy());
        QVERIFY(noChildProcessLeft());
        const std::vector<InstallStep>& steps = app.installer().steps();
        QCOMPARE(uitest::name(steps[9].status), QStringLiteral("success"));
        QCOMPARE(uitest::name(steps[10].status), QStringLiteral("pending"));
        QCOMPARE(uitest::name(app.installer().phase()), QStringLiteral("error"));
        QVERIFY(!app.installer().installRunning());
    }

    void closingWithoutARunClosesAtOnce() {
        Sandbox sandbox;
        AppUnderTest app(sandbox.platform());
        QVERIFY(app.showAndActivate());
        QVERIFY(app.window().close());
        QVERIFY(app.window().closeConfirmation() == nullptr);
    }

    void closingTheErrorScreenEndsWithStatusOne() {
        Sandbox sandbox;
        AppUnderTest app(sandbox.platform());
        app.installer().setPhase(InstallerPhase::error);
        QVERIFY(app.showAndActivate());
        ContentView* window = &app.window();
        QCOMPARE(uitest::runEventLoop([window] { window->close(); }), 1);
    }

    void doneEndsWithStatusZero() {
        Sandbox sandbox;
        AppUnderTest app(sandbox.platform());
        app.installer().setPhase(InstallerPhase::complete);
        QVERIFY(app.showAndActivate());
        auto* done = must<QPushButton>(&app.window(), "doneButton");
        QCOMPARE(uitest::runEventLoop([done] { QTest::mouseClick(done, Qt::LeftButton); }), 0);
    }
};

}  // namespace pellix

PELLIX_UI_TEST(pellix::CloseDuringInstallTest);
#include "CloseDuringInstallTest.moc"
