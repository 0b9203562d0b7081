// Whole installs clicked through the window, with the Qt executor and the fake launchctl and
// openclaw: success, failure, trying again, and a window that keeps painting while a child runs.

#include <QElapsedTimer>
#include <QTimer>

#include "CompleteView.h"
#include "ErrorView.h"
#include "StepRow.h"
#include "UiTestSupport.h"

namespace pellix {

using uitest::AppUnderTest;
using uitest::kInstallTimeoutMs;
using uitest::must;
using uitest::Sandbox;

class WholeInstallTest : public QObject {
    Q_OBJECT

private slots:
    void clickedThroughInstallEndsOnCompleteAndDoneLeavesTheJobsLoaded() {
        Sandbox sandbox;
        AppUnderTest app(sandbox.platform());
        QVERIFY(app.showAndActivate());
        QTest::mouseClick(must<QPushButton>(&app.window(), "scanPreset-relaxed"), Qt::LeftButton);
        QTest::mouseClick(must<QPushButton>(&app.window(), "modelChoice-haiku"), Qt::LeftButton);
        app.clickInstall();
        QTRY_COMPARE_WITH_TIMEOUT(uitest::name(app.installer().phase()), QStringLiteral("complete"),
                                  kInstallTimeoutMs);
        QTRY_VERIFY(qobject_cast<CompleteView*>(uitest::shownScreen(app.window())));
        QCOMPARE(app.installer().progress(), 1.0);
        for (const InstallStep& step : app.installer().steps()) {
            QCOMPARE(uitest::name(step.status), QStringLiteral("success"));
        }
        QCOMPARE(app.installer().steps()[2].detail, std::string("Installed from app bundle"));
        QCOMPARE(app.installer().steps()[4].detail,
                 std::string("Registered with haiku model, 60m scan"));
        QVERIFY(QFile::exists(QString::fromStdString(sandbox.pellixDir() + "/AGENTS.md")));

        auto* done = must<QPushButton>(&app.window(), "doneButton");
        QCOMPARE(uitest::runEventLoop([done] { QTest::mouseClick(done, Qt::LeftButton); }), 0);
        const std::string loaded = sandbox.loadedJobs();
        for (const char* job :
             {"pellix-service", "pellix.wal", "pellix.tripwire-grep", "pellix.tripwire-ai"}) {
            QVERIFY2(loaded.find(std::string("ai.pellix.") + job) != std::string::npos, job);
        }
    }

    void installThatFailsEndsOnTheErrorScreen() {
        Sandbox sandbox;
        std::filesystem::remove_all(sandbox.openclawHome() + "/workspace-main");
        AppUnderTest app(sandbox.platform());
        QVERIFY(app.showAndActivate());
        app.clickInstall();
        QTRY_COMPARE_WITH_TIMEOUT(uitest::name(app.installer().phase()), QStringLiteral("error"),
                                  kInstallTimeoutMs);
        QTRY_VERIFY(qobject_cast<ErrorView*>(uitest::shownScreen(app.window())));
        QCOMPARE(must<QLabel>(&app.window(), "errorMessage")->text(),
                 QStringLiteral("No OpenClaw workspace found. Create one first: openclaw init"));
        QCOMPARE(uitest::name(app.installer().steps()[1].status), QStringLiteral("failed"));
        QCOMPARE(app.installer().progress(), 2.0 / 11.0);
    }

    void tryAgainAfterAFailureKeepsTheChoicesAndCanThenSucceed() {
        Sandbox sandbox;
        std::filesystem::rename(sandbox.openclawHome() + "/workspace-main",
                                sandbox.openclawHome() + "/set-aside");
        AppUnderTest app(sandbox.platform());
        QVERIFY(app.showAndActivate());
        QTest::mouseClick(must<QPushButton>(&app.window(), "scanPreset-daily"), Qt::LeftButton);
        QTest::mouseClick(must<QPushButton>(&app.window(), "modelChoice-opus"), Qt::LeftButton);
        app.clickInstall();
        QTRY_VERIFY_WITH_TIMEOUT(app.window().findChild<QWidget*>("tryAgainButton"),
                                 kInstallTimeoutMs);
        QTest::mouseClick(must<QPushButton>(&app.window(), "tryAgainButton"), Qt::LeftButton);
        QTRY_COMPARE(uitest::shownScreen(app.window())->objectName(),
                     QStringLiteral("welcomeView"));
        QVERIFY(must<QPushButton>(&app.window(), "scanPreset-daily")->isChecked());
        QVERIFY(must<QPushButton>(&app.window(), "modelChoice-opus")->isChecked());

        std::filesystem::rename(sandbox.openclawHome() + "/set-aside",
                                sandbox.openclawHome() + "/workspace-main");
        app.clickInstall();
        QTRY_COMPARE_WITH_TIMEOUT(uitest::name(app.installer().phase()), QStringLiteral("complete"),
                                  kInstallTimeoutMs);
        QCOMPARE(app.installer().steps()[4].detail,
                 std::string("Registered with opus model, 1440m scan"));
    }

    void windowKeepsPaintingWhileLaunchctlTakesTwoSeconds() {
        Sandbox sandbox;
        const std::string sleepFile = sandbox.fakeBin() + "/sleep-bootstrap";
        test::writeFile(sleepFile, "2\n");
        AppUnderTest app(sandbox.platform());
        QVERIFY(app.showAndActivate());

        QElapsedTimer clock;
        qint64 last = 0;
        qint64 longestGap = 0;
        QTimer ticker;
        ticker.setInterval(20);
        connect(&ticker, &QTimer::timeout, this, [&] {
            const qint64 now = clock.elapsed();
            longestGap = std::max(longestGap, now - last);
            last = now;
            // Only the first bootstrap sleeps; the script has read the file once it logged.
            if (sandbox.calls().find("bootstrap") != std::string::npos) {
                std::filesystem::remove(sleepFile);
            }
            app.window().repaint();
        });
        clock.start();
        ticker.start();
        app.clickInstall();
        QTRY_COMPARE_WITH_TIMEOUT(uitest::name(app.installer().phase()), QStringLiteral("complete"),
                                  kInstallTimeoutMs);
        ticker.stop();
        QVERIFY2(clock.elapsed() >= 2000, "the slow launchctl did run");
        qInfo("longest gap between 20 ms ticks: %lld ms", static_cast<long long>(longestGap));
        QVERIFY2(longestGap < 100, qPrintable(QStringLiteral("longest gap %1 ms").arg(longestGap)));
    }

    void secondWindowOnTheSameHomeSaysAnotherInstallerIsRunningAndChangesNothing() {
        Sandbox sandbox;
        test::writeFile(sandbox.fakeBin() + "/sleep-openclaw", "2\n");
        AppUnderTest first(sandbox.platform());
        QVERIFY(first.showAndActivate());
        first.clickInstall();
        QTRY_VERIFY_WITH_TIMEOUT(
            sandbox.calls().find("openclaw gateway restart") != std::string::npos,
            kInstallTimeoutMs);
        const std::string callsBefore = sandbox.calls();

        AppUnderTest second(sandbox.platform());
        QVERIFY(second.showAndActivate());
        second.clickInstall();
        QTRY_VERIFY(qobject_cast<ErrorView*>(uitest::shownScreen(second.window())));
        QCOMPARE(must<QLabel>(&second.window(), "errorMessage")->text(),
                 QString::fromStdString("Another Pellix installer is already working on " +
                                        sandbox.openclawHome() +
                                        ". Wait for it to finish, then try again."));
        uitest::saveScreenshot(&second.window(), QStringLiteral("another-installer-running"));
        for (const InstallStep& step : second.installer().steps()) {
            QCOMPARE(uitest::name(step.status), QStringLiteral("pending"));
        }
        QCOMPARE(sandbox.calls(), callsBefore);

        QTRY_COMPARE_WITH_TIMEOUT(uitest::name(first.installer().phase()),
                                  QStringLiteral("complete"), kInstallTimeoutMs);
    }
};

}  // namespace pellix

PELLIX_UI_TEST(pellix::WholeInstallTest);
#include "WholeInstallTest.moc"
