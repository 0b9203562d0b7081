// The window and its root view: fixed size, the gradient up to the top edge, one screen per
// phase, and one coalesced refresh per burst of changes.

#include <QSignalSpy>

#include "CompleteView.h"
#include "ErrorView.h"
#include "InstallingView.h"
#include "ModelObserver.h"
#include "UiTestSupport.h"

namespace pellix {

using uitest::AppUnderTest;
using uitest::must;
using uitest::Sandbox;
using uitest::shownScreen;

class WindowTest : public QObject {
    Q_OBJECT

private slots:
    void windowIsFixed640x520AndCannotBeResized() {
        Sandbox sandbox;
        AppUnderTest app(sandbox.platform(), false);
        QVERIFY(app.showAndActivate());
        ContentView& window = app.window();
        QCOMPARE(window.size(), QSize(640, 520));
        QCOMPARE(window.minimumSize(), QSize(640, 520));
        QCOMPARE(window.maximumSize(), QSize(640, 520));
        QCOMPARE(window.windowHandle()->minimumSize(), window.windowHandle()->maximumSize());
        // A drag is the window manager's to refuse (see the Xvfb smoke test); code cannot either.
        window.resize(900, 700);
        QTest::qWait(50);
        QCOMPARE(window.size(), QSize(640, 520));
        QCOMPARE(window.windowTitle(), QStringLiteral("Pellix Installer"));
    }

    void gradientRunsUpToTheTopEdgeWithNothingDrawnThere() {
        Sandbox sandbox;
        AppUnderTest app(sandbox.platform(), false);
        QVERIFY(app.showAndActivate());
        const QImage image = app.window().grab().toImage();
        QVERIFY(uitest::near(image.pixelColor(3, 0), theme::gradientTop(), 1));
        QVERIFY(uitest::near(image.pixelColor(3, 519), theme::gradientBottom(), 1));
        QCOMPARE(theme::gradientTop(), QColor::fromRgbF(0.08f, 0.08f, 0.12f));
        QCOMPARE(theme::gradientBottom(), QColor::fromRgbF(0.12f, 0.10f, 0.18f));
        // No title text or strip: the padding band along the top holds the gradient only.
        for (int y = 0; y < 32; ++y) {
            const QColor left = image.pixelColor(0, y);
            for (int x = 0; x < 640; x += 7) QVERIFY(uitest::near(image.pixelColor(x, y), left, 1));
        }
    }

    void phaseChangeSwapsTheScreenButKeepsTheViewModel() {
        Sandbox sandbox;
        AppUnderTest app(sandbox.platform(), false);
        InstallerViewModel& installer = app.installer();
        installer.setSteps({InstallStep("First"), InstallStep("Second")});
        test::updateStep(installer, 0, StepStatus::warning, "kept");
        installer.setPhase(InstallerPhase::installing);
        QVERIFY(app.showAndActivate());
        QTRY_VERIFY(qobject_cast<InstallingView*>(shownScreen(app.window())));
        const std::string firstId = installer.steps()[0].id;

        installer.setPhase(InstallerPhase::complete);
        QTRY_VERIFY(qobject_cast<CompleteView*>(shownScreen(app.window())));
        QCOMPARE(&app.window().installer(), static_cast<InstallerViewModel*>(&installer));
        QCOMPARE(installer.steps().size(), std::size_t(2));
        QCOMPARE(installer.steps()[0].id, firstId);
        QCOMPARE(uitest::name(installer.steps()[0].status), QStringLiteral("warning"));
        QCOMPARE(installer.steps()[0].detail, std::string("kept"));
        QCOMPARE(installer.progress(), 0.5);
    }

    void emptyErrorMessageStillShowsTheErrorScreen() {
        Sandbox sandbox;
        AppUnderTest app(sandbox.platform(), false);
        QVERIFY(app.showAndActivate());
        app.installer().setPhase(InstallerPhase::error);
        QTRY_VERIFY(qobject_cast<ErrorView*>(shownScreen(app.window())));
        auto* screen = qobject_cast<ErrorView*>(shownScreen(app.window()));
        QCOMPARE(screen->message(), QString());
        QCOMPARE(must<QLabel>(screen, "errorMessage")->text(), QString());
        QVERIFY(must<QPushButton>(screen, "tryAgainButton")->isVisible());
    }

    void eachPhaseShowsExactlyItsOwnScreen() {
        Sandbox sandbox;
        AppUnderTest app(sandbox.platform(), false);
        QVERIFY(app.showAndActivate());
        const std::pair<InstallerPhase, const char*> expected[] = {
            {InstallerPhase::installing, "installingView"},
            {InstallerPhase::complete, "completeView"},
            {InstallerPhase::error, "errorView"},
            {InstallerPhase::welcome, "welcomeView"},
        };
        QCOMPARE(shownScreen(app.window())->objectName(), QStringLiteral("welcomeView"));
        for (const auto& [phase, name] : expected) {
            app.installer().setPhase(phase);
            QTRY_COMPARE(shownScreen(app.window())->objectName(), QString::fromLatin1(name));
            QVERIFY(shownScreen(app.window())->isVisible());
            QCOMPARE(shownScreen(app.window())->geometry(), QRect(32, 32, 576, 456));
        }
    }

    void errorScreenShowsTheMessageOfItsMoment() {
        Sandbox sandbox;
        AppUnderTest app(sandbox.platform(), false);
        app.installer().setErrorMessage("First reason");
        app.installer().setPhase(InstallerPhase::error);
        QVERIFY(app.showAndActivate());
        QTRY_COMPARE(must<QLabel>(&app.window(), "errorMessage")->text(),
                     QStringLiteral("First reason"));
        app.installer().setErrorMessage("Second reason");
        QTRY_COMPARE(must<QLabel>(&app.window(), "errorMessage")->text(),
                     QStringLiteral("Second reason"));
        QCOMPARE(app.window().findChildren<ErrorView*>().size(), 1);
    }

    void burstOfChangesGivesOneRefreshThatSeesTheStoredValues() {
        Sandbox sandbox;
        InstallerViewModel installer(sandbox.platform());
        ModelObserver observer(installer);
        QSignalSpy spy(&observer, &ModelObserver::changed);
        std::vector<std::string> seen;
        connect(&observer, &ModelObserver::changed, this,
                [&] { seen.push_back(installer.scanPreset() + "/" + installer.modelChoice()); });
        installer.setScanPreset("daily");
        installer.setModelChoice("opus");
        installer.setProgress(0.5);
        QCOMPARE(spy.count(), 0);
        QTRY_COMPARE(spy.count(), 1);
        QTest::qWait(30);
        QCOMPARE(spy.count(), 1);
        QCOMPARE(seen, std::vector<std::string>{"daily/opus"});
    }
};

}  // namespace pellix

PELLIX_UI_TEST(pellix::WindowTest);
#include "WindowTest.moc"
