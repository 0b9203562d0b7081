// The welcome screen: the OpenClaw status line and the install button in both states, the two
// pickers, the tagline's wrapping, and keyboard and accessibility access to every control.

#include "SegmentedControl.h"
#include "StatusGlyph.h"
#include "UiTestSupport.h"
#include "WelcomeView.h"

namespace pellix {

using uitest::AppUnderTest;
using uitest::must;
using uitest::PhaseLog;
using uitest::Sandbox;

namespace {

const char* const kSegments[] = {"scanPreset-vigilant", "scanPreset-standard", "scanPreset-relaxed",
                                 "scanPreset-daily",    "modelChoice-haiku",   "modelChoice-sonnet",
                                 "modelChoice-opus"};

QColor buttonFill(QPushButton* button) {
    return uitest::pixelAt(button, {8, button->height() / 2});
}

Platform parked(const Sandbox& sandbox) {
    Platform platform = sandbox.platform();
    platform.runBlockingJob = uitest::parkedExecutor();
    return platform;
}

}  // namespace

class WelcomeViewTest : public QObject {
    Q_OBJECT

private slots:
    void withoutOpenClawTheLineIsARedCrossAndTheButtonIgnoresClicks() {
        Sandbox sandbox(false);
        AppUnderTest app(parked(sandbox), false);
        PhaseLog log(app.installer());
        QVERIFY(app.showAndActivate());
        auto* icon = must<StatusGlyph>(&app.window(), "openclawStatusIcon");
        QCOMPARE(icon->symbol(), QStringLiteral("xmark.circle.fill"));
        QCOMPARE(icon->color(), theme::color(NamedColor::red));
        QCOMPARE(must<QLabel>(&app.window(), "openclawStatusText")->text(),
                 QStringLiteral("OpenClaw not found"));
        auto* install = must<QPushButton>(&app.window(), "installButton");
        QVERIFY(!install->isEnabled());
        QVERIFY(uitest::near(buttonFill(install), theme::color(NamedColor::gray)));

        QTest::mouseClick(install, Qt::LeftButton);
        QTest::qWait(20);
        QCOMPARE(log.count(InstallerPhase::installing), 0);
        QCOMPARE(uitest::name(app.installer().phase()), QStringLiteral("welcome"));

        QTest::mouseClick(must<QPushButton>(&app.window(), "scanPreset-daily"), Qt::LeftButton);
        QTest::mouseClick(must<QPushButton>(&app.window(), "modelChoice-haiku"), Qt::LeftButton);
        QCOMPARE(app.installer().scanPreset(), std::string("daily"));
        QCOMPARE(app.installer().modelChoice(), std::string("haiku"));
    }

    void withOpenClawTheLineIsAGreenCheckAndOneClickStartsOnce() {
        Sandbox sandbox;
        AppUnderTest app(parked(sandbox), false);
        PhaseLog log(app.installer());
        QVERIFY(app.showAndActivate());
        auto* icon = must<StatusGlyph>(&app.window(), "openclawStatusIcon");
        QCOMPARE(icon->symbol(), QStringLiteral("checkmark.circle.fill"));
        QCOMPARE(icon->color(), theme::color(NamedColor::green));
        auto* text = must<QLabel>(&app.window(), "openclawStatusText");
        QCOMPARE(text->text(), QStringLiteral("OpenClaw detected"));
        QCOMPARE(text->palette().color(QPalette::WindowText), theme::color(NamedColor::secondary));
        auto* install = must<QPushButton>(&app.window(), "installButton");
        QVERIFY(install->isEnabled());
        QVERIFY(uitest::near(buttonFill(install), theme::color(NamedColor::purple)));

        QTest::mouseClick(install, Qt::LeftButton);
        QCOMPARE(log.count(InstallerPhase::installing), 1);
        QCOMPARE(app.installer().steps().size(), std::size_t(11));
        QTRY_COMPARE(uitest::shownScreen(app.window())->objectName(),
                     QStringLiteral("installingView"));
        QCOMPARE(log.count(InstallerPhase::installing), 1);
    }

    void freshViewModelPreselectsStandardAndSonnetAndSegmentsStoreTheirTags() {
        Sandbox sandbox;
        AppUnderTest app(parked(sandbox), false);
        QVERIFY(app.showAndActivate());
        auto* standard = must<QPushButton>(&app.window(), "scanPreset-standard");
        auto* sonnet = must<QPushButton>(&app.window(), "modelChoice-sonnet");
        QCOMPARE(standard->text(), QStringLiteral("Standard (15 min)"));
        QCOMPARE(sonnet->text(), QStringLiteral("Sonnet (~$45/mo)"));
        QVERIFY(standard->isChecked());
        QVERIFY(sonnet->isChecked());

        auto* daily = must<QPushButton>(&app.window(), "scanPreset-daily");
        QCOMPARE(daily->text(), QStringLiteral("Daily Digest"));
        QTest::mouseClick(daily, Qt::LeftButton);
        QCOMPARE(app.installer().scanPreset(), std::string("daily"));
        auto* opus = must<QPushButton>(&app.window(), "modelChoice-opus");
        QCOMPARE(opus->text(), QStringLiteral("Opus (~$150/mo)"));
        QTest::mouseClick(opus, Qt::LeftButton);
        QCOMPARE(app.installer().modelChoice(), std::string("opus"));
        QTest::qWait(20);
        QVERIFY(daily->isChecked() && !standard->isChecked());
        QVERIFY(opus->isChecked() && !sonnet->isChecked());
    }

    void everyTextIsTheGivenOneInItsFontAndColour() {
        Sandbox sandbox;
        AppUnderTest app(parked(sandbox), false);
        QVERIFY(app.showAndActivate());
        expectText(app, "emblem", "\U0001F9E0", 72, QFont::Normal);
        expectText(app, "title", "Pellix Agent", 32, QFont::Bold, theme::color(NamedColor::white));
        expectText(app, "subtitle", "Behavioral Drift Detection & AI Conscience", 14, QFont::Normal,
                   theme::color(NamedColor::gray));
        expectText(app, "tagline", "Your AI says it's working. Pellix checks if that's true.", 13,
                   QFont::Normal, theme::color(NamedColor::secondary));
        expectText(app, "scanCaption", "Scan Frequency", 12, QFont::DemiBold,
                   theme::color(NamedColor::gray));
        expectText(app, "modelCaption", "AI Model", 12, QFont::DemiBold,
                   theme::color(NamedColor::gray));
        expectText(app, "openclawStatusText", "OpenClaw detected", 12, QFont::Normal,
                   theme::color(NamedColor::secondary));
        const QStringList segments = {"Vigilant (5 min)", "Standard (15 min)", "Relaxed (hourly)",
                                      "Daily Digest",     "Haiku (~$15/mo)",   "Sonnet (~$45/mo)",
                                      "Opus (~$150/mo)"};
        for (int i = 0; i < segments.size(); ++i) {
            QCOMPARE(must<QPushButton>(&app.window(), kSegments[i])->text(), segments[i]);
        }
        auto* install = must<QPushButton>(&app.window(), "installButton");
        QCOMPARE(install->text(), QStringLiteral("Install Pellix"));
        QCOMPARE(install->font().pixelSize(), 16);
        QCOMPARE(install->font().weight(), QFont::DemiBold);
        QCOMPARE(install->width(), 576);
    }

    void layoutKeepsTheGivenSpacings() {
        Sandbox sandbox;
        AppUnderTest app(parked(sandbox), false);
        QVERIFY(app.showAndActivate());
        const auto top = [&](const char* name) {
            return must<QWidget>(&app.window(), name)->mapTo(&app.window(), QPoint()).y();
        };
        const auto bottom = [&](const char* name) {
            return top(name) + must<QWidget>(&app.window(), name)->height();
        };
        QCOMPARE(top("title") - bottom("emblem"), 24);
        QCOMPARE(top("subtitle") - bottom("title"), 24);
        QCOMPARE(top("scanPreset") - bottom("scanCaption"), 12);
        QCOMPARE(top("modelCaption") - bottom("scanPreset"), 16);
        QCOMPARE(top("modelChoice") - bottom("modelCaption"), 12);
        QCOMPARE(top("installButton") - bottom("openclawStatusText"), 24);
        QCOMPARE(bottom("installButton"), 520 - 32);
        QCOMPARE(must<QWidget>(&app.window(), "scanPreset")->mapTo(&app.window(), QPoint()).x(),
                 32 + 20);
    }

    void taglineWrapsOntoCentredLinesInsideItsSidePadding() {
        Sandbox sandbox;
        AppUnderTest app(parked(sandbox), false);
        QVERIFY(app.showAndActivate());
        auto* tagline = must<QLabel>(&app.window(), "tagline");
        QVERIFY(tagline->wordWrap());
        QVERIFY(tagline->alignment() & Qt::AlignHCenter);
        QCOMPARE(tagline->mapTo(&app.window(), QPoint()).x(), 32 + 40);
        QCOMPARE(tagline->width(), 576 - 80);
        const int line = tagline->fontMetrics().height();
        QVERIFY(tagline->heightForWidth(576 - 80) < 2 * line);
        QVERIFY(tagline->heightForWidth(160) >= 3 * line);
    }

    void tabReachesEachPickerAtItsChosenSegmentAndTheButton() {
        Sandbox sandbox;
        AppUnderTest app(parked(sandbox), false);
        QVERIFY(app.showAndActivate());
        must<QPushButton>(&app.window(), "installButton")->setFocus(Qt::OtherFocusReason);
        QStringList visited;
        for (int i = 0; i < 6; ++i) {
            uitest::pressKey(&app.window(), Qt::Key_Tab);
            visited << QApplication::focusWidget()->objectName();
            QVERIFY(QApplication::focusWidget()->property("focusRing").toBool());
        }
        QCOMPARE(visited,
                 QStringList({"scanPreset-standard", "modelChoice-sonnet", "installButton",
                              "scanPreset-standard", "modelChoice-sonnet", "installButton"}));
        uitest::pressKey(&app.window(), Qt::Key_Backtab);
        QCOMPARE(QApplication::focusWidget()->objectName(), QStringLiteral("modelChoice-sonnet"));
    }

    void arrowsMoveAcrossSegmentsWithoutChoosing() {
        Sandbox sandbox;
        AppUnderTest app(parked(sandbox), false);
        QVERIFY(app.showAndActivate());
        must<QPushButton>(&app.window(), "scanPreset-standard")->setFocus(Qt::TabFocusReason);
        QStringList visited;
        for (Qt::Key key : {Qt::Key_Right, Qt::Key_Right, Qt::Key_Right, Qt::Key_Left}) {
            uitest::pressKey(&app.window(), key);
            visited << QApplication::focusWidget()->objectName();
        }
        QCOMPARE(visited, QStringList({"scanPreset-relaxed", "scanPreset-daily", "scanPreset-daily",
                                       "scanPreset-relaxed"}));
        QCOMPARE(app.installer().scanPreset(), std::string("standard"));
        uitest::pressKey(&app.window(), Qt::Key_Space);
        QCOMPARE(app.installer().scanPreset(), std::string("relaxed"));
    }

    void spaceAndReturnPressSegmentsAndTheButton() {
        Sandbox sandbox;
        AppUnderTest app(parked(sandbox), false);
        PhaseLog log(app.installer());
        QVERIFY(app.showAndActivate());
        must<QPushButton>(&app.window(), "scanPreset-relaxed")->setFocus(Qt::OtherFocusReason);
        uitest::pressKey(&app.window(), Qt::Key_Space);
        QCOMPARE(app.installer().scanPreset(), std::string("relaxed"));
        must<QPushButton>(&app.window(), "modelChoice-haiku")->setFocus(Qt::OtherFocusReason);
        uitest::pressKey(&app.window(), Qt::Key_Return);
        QCOMPARE(app.installer().modelChoice(), std::string("haiku"));
        QTest::qWait(20);
        QVERIFY(must<QPushButton>(&app.window(), "scanPreset-relaxed")->isChecked());
        must<QPushButton>(&app.window(), "installButton")->setFocus(Qt::OtherFocusReason);
        uitest::pressKey(&app.window(), Qt::Key_Return);
        QCOMPARE(log.count(InstallerPhase::installing), 1);
    }

    void everyControlIsNamedByItsTextForAssistiveTechnology() {
        Sandbox sandbox;
        AppUnderTest app(parked(sandbox), false);
        QVERIFY(app.showAndActivate());
        const QList<QAbstractButton*> buttons = app.window().findChildren<QAbstractButton*>();
        QCOMPARE(buttons.size(), 8);
        for (QAbstractButton* button : buttons) {
            QVERIFY(!button->text().isEmpty());
            QCOMPARE(button->accessibleName(), button->text());
            QVERIFY(button->focusPolicy() & Qt::ClickFocus);
        }
        for (QLabel* label : app.window().findChildren<QLabel*>()) {
            QCOMPARE(label->accessibleName(), label->text());
        }
    }

    void statusLineIsEvaluatedAnewAtTheNextRefresh() {
        Sandbox sandbox(false);
        AppUnderTest app(parked(sandbox), false);
        QVERIFY(app.showAndActivate());
        auto* text = must<QLabel>(&app.window(), "openclawStatusText");
        QCOMPARE(text->text(), QStringLiteral("OpenClaw not found"));
        test::makeDirs(sandbox.openclawHome());
        QTest::qWait(50);
        QCOMPARE(text->text(), QStringLiteral("OpenClaw not found"));  // nothing polls
        QTest::mouseClick(must<QPushButton>(&app.window(), "scanPreset-vigilant"), Qt::LeftButton);
        QTRY_COMPARE(text->text(), QStringLiteral("OpenClaw detected"));
        QVERIFY(must<QPushButton>(&app.window(), "installButton")->isEnabled());
    }

private:
    static void expectText(AppUnderTest& app, const char* name, const char* text, int pixelSize,
                           QFont::Weight weight, QColor color = {}) {
        auto* label = must<QLabel>(&app.window(), name);
        QCOMPARE(label->text(), QString::fromUtf8(text));
        QCOMPARE(label->font().pixelSize(), pixelSize);
        QCOMPARE(label->font().weight(), weight);
        if (color.isValid()) QCOMPARE(label->palette().color(QPalette::WindowText), color);
    }
};

}  // namespace pellix

PELLIX_UI_TEST(pellix::WelcomeViewTest);
#include "WelcomeViewTest.moc"
