// Screenshots of every screen in the states worth looking at, saved under test-artifacts for
// review; each also checks the window it captured is the 640 x 520 one.

#include "InstallingView.h"
#include "UiTestSupport.h"

namespace pellix {

using uitest::AppUnderTest;
using uitest::must;
using uitest::Sandbox;

class ScreenshotTest : public QObject {
    Q_OBJECT

private slots:
    void welcomeWithOpenClaw() {
        Sandbox sandbox;
        AppUnderTest app(sandbox.platform());
        QVERIFY(app.showAndActivate());
        capture(app, QStringLiteral("welcome-with-openclaw"));
    }

    void welcomeWithoutOpenClaw() {
        Sandbox sandbox(false);
        AppUnderTest app(sandbox.platform());
        QVERIFY(app.showAndActivate());
        capture(app, QStringLiteral("welcome-without-openclaw"));
    }

    void installingMidRun() {
        Sandbox sandbox(true, uitest::AgentSource::earlierInstall);
        test::writeFile(sandbox.fakeBin() + "/sleep-bootstrap", "2\n");
        AppUnderTest app(sandbox.platform());
        QVERIFY(app.showAndActivate());
        app.clickInstall();
        QTRY_COMPARE_WITH_TIMEOUT(uitest::name(app.installer().steps()[7].status),
                                  QStringLiteral("running"), 10000);
        QTest::qWait(100);
        capture(app, QStringLiteral("installing-mid-run"));
    }

    void complete() {
        Sandbox sandbox;
        AppUnderTest app(sandbox.platform());
        QVERIFY(app.showAndActivate());
        app.clickInstall();
        QTRY_COMPARE_WITH_TIMEOUT(uitest::name(app.installer().phase()), QStringLiteral("complete"),
                                  30000);
        QTRY_VERIFY(app.window().findChild<QWidget*>("completeView") != nullptr);
        capture(app, QStringLiteral("complete"));
    }

    void errorWithLongMessage() {
        Sandbox sandbox;
        AppUnderTest app(sandbox.platform(), false);
        app.installer().setErrorMessage(
            "Pellix agent files not found. Place them at " + sandbox.openclawHome() +
            "/workspace-main/agents/pellix-unified or rebuild the installer with the bundle.\n"
            "A second line follows an embedded line break.");
        app.installer().setPhase(InstallerPhase::error);
        QVERIFY(app.showAndActivate());
        QTRY_VERIFY(app.window().findChild<QWidget*>("errorView") != nullptr);
        capture(app, QStringLiteral("error-long-message"));
    }

    static void capture(AppUnderTest& app, const QString& name) {
        QCOMPARE(app.window().size(), QSize(640, 520));
        QVERIFY(QFile::exists(uitest::saveScreenshot(&app.window(), name)));
    }
};

}  // namespace pellix

PELLIX_UI_TEST(pellix::ScreenshotTest);
#include "ScreenshotTest.moc"
