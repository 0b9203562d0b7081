// The complete screen: fixed texts whatever the run was like, the monospaced purple path, and
// "Done" ending the application's event loop.

#include <QFontDatabase>
#include <algorithm>

#include "CompleteView.h"
#include "UiTestSupport.h"

namespace pellix {

using uitest::AppUnderTest;
using uitest::must;
using uitest::Sandbox;

namespace {

QStringList shownTexts(QWidget* screen) {
    QStringList texts;
    for (QLabel* label : screen->findChildren<QLabel*>()) texts << label->text();
    for (QAbstractButton* button : screen->findChildren<QAbstractButton*>())
        texts << button->text();
    return texts;
}

// Whether every character of `text` advances as far as the first in `font`.
bool equalAdvances(const QFont& font, const QString& text) {
    const QFontMetricsF metrics(font);
    const qreal first = metrics.horizontalAdvance(text.front());
    return std::all_of(text.begin(), text.end(),
                       [&](QChar c) { return metrics.horizontalAdvance(c) == first; });
}

QString printableAscii() {
    QString text;
    for (char c = '!'; c <= '~'; ++c) text += QLatin1Char(c);
    return text;
}

}  // namespace

class CompleteViewTest : public QObject {
    Q_OBJECT

private slots:
    void showsTheSameTextsWhateverTheChoicesAndWarnings() {
        Sandbox sandbox;
        AppUnderTest plain(sandbox.platform(), false);
        plain.installer().setPhase(InstallerPhase::complete);
        AppUnderTest other(sandbox.platform(), false);
        other.installer().setScanPreset("daily");
        other.installer().setModelChoice("opus");
        other.installer().setSteps({InstallStep("Restarting OpenClaw gateway")});
        test::updateStep(other.installer(), 0, StepStatus::warning, "Restart may need manual run");
        other.installer().setPhase(InstallerPhase::complete);
        QVERIFY(plain.showAndActivate());
        QVERIFY(other.showAndActivate());
        QTRY_VERIFY(qobject_cast<CompleteView*>(uitest::shownScreen(plain.window())));
        QTRY_VERIFY(qobject_cast<CompleteView*>(uitest::shownScreen(other.window())));
        const QStringList expected = {"\u2705",
                                      "Pellix is Watching",
                                      "Two protection layers are now active:",
                                      "\U0001F441\uFE0F",
                                      "Session Guard",
                                      "Every 30 seconds",
                                      "\U0001F9E0",
                                      "Drift Scanner",
                                      "AI-powered analysis",
                                      "Next: Register your agents in the watch list",
                                      "agents/pellix-unified/ops/agent-watch-list.md",
                                      "First scan results appear within 5 minutes.",
                                      "Done"};
        QStringList plainTexts = shownTexts(uitest::shownScreen(plain.window()));
        QStringList otherTexts = shownTexts(uitest::shownScreen(other.window()));
        QStringList sortedExpected = expected;
        plainTexts.sort();
        otherTexts.sort();
        sortedExpected.sort();
        QCOMPARE(plainTexts, sortedExpected);
        QCOMPARE(otherTexts, sortedExpected);
    }

    void pathIsMonospacedInPurpleUnderASecondaryNextLine() {
        Sandbox sandbox;
        AppUnderTest app(sandbox.platform(), false);
        app.installer().setPhase(InstallerPhase::complete);
        QVERIFY(app.showAndActivate());
        QTRY_VERIFY(qobject_cast<CompleteView*>(uitest::shownScreen(app.window())));
        auto* path = must<QLabel>(&app.window(), "watchListPath");
        // What a user sees: every character of the path as wide as the next, whatever
        // fontconfig calls "monospace" here.
        QVERIFY2(equalAdvances(path->font(), path->text()),
                 qPrintable(QFontInfo(path->font()).family()));
        QCOMPARE(path->font().pixelSize(), 11);
        QCOMPARE(path->palette().color(QPalette::WindowText), theme::color(NamedColor::purple));
        auto* next = must<QLabel>(&app.window(), "nextStep");
        QCOMPARE(next->font().pixelSize(), 13);
        QCOMPARE(next->palette().color(QPalette::WindowText), theme::color(NamedColor::secondary));
        QCOMPARE(path->mapTo(&app.window(), QPoint()).y() -
                     (next->mapTo(&app.window(), QPoint()).y() + next->height()),
                 6);
    }

    void pathFontIsChosenFromFamiliesThatAreMonospacedInFact() {
        const QStringList installed = QFontDatabase::families();
        QStringList present;
        for (const QString& family : theme::monospacedFamilies()) {
            if (!installed.contains(family)) continue;
            present << family;
            QFont font(family);
            font.setPixelSize(11);
            QVERIFY2(equalAdvances(font, printableAscii()), qPrintable(family));
        }
        if (present.isEmpty()) QSKIP("none of the monospaced families is installed here");
        QCOMPARE(QFontInfo(theme::monospacedFont(11)).family(), present.front());
    }

    void fontsSpacingsAndTheDoneButtonFollowTheLayout() {
        Sandbox sandbox;
        AppUnderTest app(sandbox.platform(), false);
        app.installer().setPhase(InstallerPhase::complete);
        QVERIFY(app.showAndActivate());
        QTRY_VERIFY(qobject_cast<CompleteView*>(uitest::shownScreen(app.window())));
        auto* title = must<QLabel>(&app.window(), "title");
        QCOMPARE(title->font().pixelSize(), 28);
        QCOMPARE(title->font().weight(), QFont::Bold);
        QCOMPARE(must<QLabel>(&app.window(), "emblem")->font().pixelSize(), 72);
        QCOMPARE(must<QLabel>(&app.window(), "sessionGuardIcon")->font().pixelSize(), 28);
        QCOMPARE(must<QLabel>(&app.window(), "sessionGuardName")->font().weight(), QFont::DemiBold);
        QCOMPARE(must<QLabel>(&app.window(), "driftScannerDetail")->font().pixelSize(), 11);
        const int leftEdge = must<QWidget>(&app.window(), "sessionGuard")->geometry().right();
        QCOMPARE(must<QWidget>(&app.window(), "driftScanner")->geometry().left() - leftEdge - 1,
                 20);
        auto* done = must<QPushButton>(&app.window(), "doneButton");
        QCOMPARE(done->mapTo(&app.window(), QPoint()).y() + done->height(), 520 - 32);
        QVERIFY(uitest::near(uitest::pixelAt(done, {done->width() / 2, 4}),
                             theme::color(NamedColor::purple)));
        QCOMPARE(done->accessibleName(), QStringLiteral("Done"));
    }

    void doneEndsTheApplicationsEventLoop() {
        Sandbox sandbox;
        AppUnderTest app(sandbox.platform(), false);
        app.installer().setPhase(InstallerPhase::complete);
        QVERIFY(app.showAndActivate());
        QTRY_VERIFY(qobject_cast<CompleteView*>(uitest::shownScreen(app.window())));
        auto* done = must<QPushButton>(&app.window(), "doneButton");
        const int status =
            uitest::runEventLoop([done] { QTest::mouseClick(done, Qt::LeftButton); });
        QCOMPARE(status, 0);
    }
};

}  // namespace pellix

PELLIX_UI_TEST(pellix::CompleteViewTest);
#include "CompleteViewTest.moc"
