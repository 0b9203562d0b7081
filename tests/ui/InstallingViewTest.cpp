// The installing screen: the purple bar, the checklist rows with their glyphs and detail lines,
// the 300-pixel scrolling list, and rows that keep their widgets while their step lives.

#include <QPainter>
#include <QProgressBar>
#include <QScrollArea>
#include <QScrollBar>

#include "InstallingView.h"
#include "StatusGlyph.h"
#include "StepRow.h"
#include "UiTestSupport.h"

namespace pellix {

using uitest::AppUnderTest;
using uitest::must;
using uitest::Sandbox;

namespace {

std::vector<InstallStep> rows(int count) {
    std::vector<InstallStep> steps;
    for (int i = 0; i < count; ++i) steps.emplace_back("Step " + std::to_string(i));
    return steps;
}

}  // namespace

class InstallingViewTest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        sandbox_ = std::make_unique<Sandbox>();
        app_ = std::make_unique<AppUnderTest>(sandbox_->platform(), false);
        installer().setPhase(InstallerPhase::installing);
        QVERIFY(app_->showAndActivate());
        QTRY_VERIFY(view() != nullptr);
    }

    void cleanup() {
        app_.reset();
        sandbox_.reset();
    }

    void emptyStepsShowAnEmptyListUnderTheBar() {
        QVERIFY(view()->rows().empty());
        auto* list = must<QScrollArea>(view(), "stepList");
        QVERIFY(list->isVisible());
        QCOMPARE(list->height(), 300);
        QVERIFY(list->y() > must<QProgressBar>(view(), "progressBar")->parentWidget()->y());
        QVERIFY(list->widget()->findChildren<StepRow*>().isEmpty());
    }

    void textsAreTheGivenOnesInTheirFonts() {
        auto* emblem = must<QLabel>(view(), "emblem");
        QCOMPARE(emblem->text(), QStringLiteral("\U0001F9E0"));
        QCOMPARE(emblem->font().pixelSize(), 48);
        auto* heading = must<QLabel>(view(), "heading");
        QCOMPARE(heading->text(), QStringLiteral("Installing Pellix..."));
        QCOMPARE(heading->font().pixelSize(), 22);
        QCOMPARE(heading->font().weight(), QFont::Bold);
        auto* bar = must<QProgressBar>(view(), "progressBar");
        QVERIFY(!bar->isTextVisible());
        QCOMPARE(bar->mapTo(view(), QPoint()).x(), 40);
        QCOMPARE(bar->width(), 576 - 80);
        installer().setSteps({InstallStep("Detecting workspace")});
        QTRY_COMPARE(view()->rows().size(), std::size_t(1));
        StepRow* row = view()->rows()[0];
        QCOMPARE(row->label()->font().pixelSize(), 13);
        QCOMPARE(row->label()->palette().color(QPalette::WindowText), QColor(Qt::white));
        QCOMPARE(row->detail()->font().pixelSize(), 11);
        QCOMPARE(row->detail()->palette().color(QPalette::WindowText),
                 theme::color(NamedColor::gray));
        QCOMPARE(row->glyph()->width(), 20);
        // Laid out on the next pass of the event loop, not at once.
        QTRY_COMPARE(row->mapTo(must<QWidget>(view(), "stepColumn"), QPoint()).x(), 20);
    }

    void detailLineAppearsOnceSetAndStaysAfterALaterStatusChange() {
        installer().setSteps(rows(2));
        QTRY_COMPARE(view()->rows().size(), std::size_t(2));
        StepRow* row = view()->rows()[0];
        QVERIFY(!row->detail()->isVisible());
        const int oneLine = row->height();
        QCOMPARE(oneLine, row->label()->height());

        test::updateStep(installer(), 0, StepStatus::running, "/Users/me/.openclaw");
        QTRY_VERIFY(row->detail()->isVisible());
        QCOMPARE(row->detail()->text(), QStringLiteral("/Users/me/.openclaw"));
        QTRY_VERIFY(row->height() > oneLine);

        test::updateStep(installer(), 0, StepStatus::success);
        QTRY_COMPARE(row->glyph()->symbol(), QStringLiteral("checkmark.circle.fill"));
        QVERIFY(row->detail()->isVisible());
        QCOMPARE(row->detail()->text(), QStringLiteral("/Users/me/.openclaw"));
    }

    void elevenRowsWithDetailsScrollInsideThreeHundredPixels() {
        std::vector<InstallStep> steps = rows(11);
        for (int i = 0; i < 11; i += 2) steps[i].detail = "Detail of step " + std::to_string(i);
        installer().setSteps(steps);
        QTRY_COMPARE(view()->rows().size(), std::size_t(11));
        auto* list = must<QScrollArea>(view(), "stepList");
        QCOMPARE(list->height(), 300);
        QTRY_VERIFY(list->widget()->height() > 300);
        QScrollBar* bar = list->verticalScrollBar();
        QVERIFY(bar->maximum() > 0);
        QCOMPARE(bar->value(), 0);  // no automatic scrolling
        list->ensureWidgetVisible(view()->rows().back());
        QVERIFY(bar->value() > 0);
        QCOMPARE(list->horizontalScrollBar()->maximum(), 0);
    }

    void barFillsInProportionToProgress() {
        auto* bar = must<QProgressBar>(view(), "progressBar");
        const QColor purple = theme::color(NamedColor::purple);
        const int y = bar->height() / 2;
        const auto fillAt = [&](double fraction) {
            return uitest::pixelAt(bar, {int(fraction * (bar->width() - 1)), y});
        };
        installer().setProgress(0.0);
        QTRY_COMPARE(bar->value(), 0);
        QVERIFY(!uitest::near(fillAt(0.02), purple, 20));
        installer().setProgress(0.5);
        QTRY_COMPARE(bar->value(), InstallingView::kProgressRange / 2);
        QVERIFY(uitest::near(fillAt(0.25), purple));
        QVERIFY(!uitest::near(fillAt(0.75), purple, 20));
        installer().setProgress(1.0);
        QTRY_COMPARE(bar->value(), InstallingView::kProgressRange);
        QVERIFY(uitest::near(fillAt(0.98), purple));
    }

    void secondRunKeepsTheOldProgressUntilTheFirstRowUpdate() {
        Platform platform = sandbox_->platform();
        platform.runBlockingJob = uitest::parkedExecutor();
        app_ = std::make_unique<AppUnderTest>(std::move(platform), false);
        QVERIFY(app_->showAndActivate());
        std::vector<double> progressAtInstalling;
        std::vector<double> progressChanges;
        const auto subscription = installer().addDidChangeObserver([&](Property property) {
            if (property == Property::phase && installer().phase() == InstallerPhase::installing) {
                progressAtInstalling.push_back(installer().progress());
            }
            if (property == Property::progress) progressChanges.push_back(installer().progress());
        });
        installer().setProgress(2.0 / 11.0);  // where a run that failed at row 1 leaves it
        installer().setPhase(InstallerPhase::welcome);
        QTRY_VERIFY(uitest::shownScreen(app_->window())->objectName() == "welcomeView");
        progressChanges.clear();
        app_->clickInstall();
        QCOMPARE(progressAtInstalling, std::vector<double>{2.0 / 11.0});
        QVERIFY(!progressChanges.empty());
        QCOMPARE(progressChanges.front(), 1.0 / 11.0);
        QTRY_VERIFY(view() != nullptr);
        QCOMPARE(must<QProgressBar>(view(), "progressBar")->value(),
                 int(std::lround(installer().progress() * InstallingView::kProgressRange)));
        installer().removeObserver(subscription);
    }

    void rowsKeepTheirWidgetsWhileTheirStepsKeepTheirIds() {
        installer().setSteps(rows(3));
        QTRY_COMPARE(view()->rows().size(), std::size_t(3));
        const std::vector<StepRow*> before = view()->rows();
        test::updateStep(installer(), 1, StepStatus::running, "busy");
        test::updateStep(installer(), 1, StepStatus::warning, "careful");
        QTRY_COMPARE(before[1]->detail()->text(), QStringLiteral("careful"));
        QCOMPARE(view()->rows(), before);
        QCOMPARE(before[2]->objectName(), QStringLiteral("stepRow-2"));

        installer().setSteps(rows(3));  // new ids, as a new run makes
        QTRY_VERIFY(view()->rows() != before);
        QCOMPARE(view()->rows().size(), std::size_t(3));
        QCOMPARE(view()->findChildren<StepRow*>().size(), 3);
    }

    void eachStatusDrawsItsSymbolInItsColour() {
        const std::pair<StepStatus, const char*> expected[] = {
            {StepStatus::pending, "circle"},
            {StepStatus::running, "circle.dotted"},
            {StepStatus::success, "checkmark.circle.fill"},
            {StepStatus::warning, "exclamationmark.triangle.fill"},
            {StepStatus::failed, "xmark.circle.fill"},
        };
        installer().setSteps(rows(5));
        for (int i = 0; i < 5; ++i) test::updateStep(installer(), i, expected[i].first);
        QTRY_COMPARE(view()->rows().size(), std::size_t(5));
        QTRY_COMPARE(view()->rows().back()->glyph()->symbol(), QStringLiteral("xmark.circle.fill"));
        for (int i = 0; i < 5; ++i) {
            StatusGlyph* glyph = view()->rows()[std::size_t(i)]->glyph();
            QCOMPARE(glyph->symbol(), QString::fromLatin1(expected[i].second));
            QCOMPARE(glyph->color(), theme::color(color(expected[i].first)));
            QImage image(glyph->size(), QImage::Format_ARGB32_Premultiplied);
            image.fill(Qt::transparent);
            glyph->render(&image, {}, {}, QWidget::DrawChildren);
            QVERIFY(hasPixelOf(image, glyph->color()));
        }
        QCOMPARE(theme::color(NamedColor::secondary), QColor(255, 255, 255, 140));
        QCOMPARE(theme::color(NamedColor::blue), QColor(0x0A, 0x84, 0xFF));
        QCOMPARE(theme::color(NamedColor::green), QColor(0x30, 0xD1, 0x58));
        QCOMPARE(theme::color(NamedColor::orange), QColor(0xFF, 0x9F, 0x0A));
        QCOMPARE(theme::color(NamedColor::red), QColor(0xFF, 0x45, 0x3A));
    }

    void glyphsAreVectorShapesThatStayCrispWhenScaled() {
        const char* symbols[] = {"circle", "circle.dotted", "checkmark.circle.fill",
                                 "exclamationmark.triangle.fill", "xmark.circle.fill"};
        QImage sheet(5 * 140, 140, QImage::Format_ARGB32_Premultiplied);
        sheet.fill(theme::gradientTop());
        QPainter painter(&sheet);
        painter.setRenderHint(QPainter::Antialiasing);
        for (int i = 0; i < 5; ++i) {
            painter.save();
            painter.translate(70 + 140 * i, 70);
            painter.fillPath(statusGlyphPath(symbols[i], 120), Qt::white);
            painter.restore();
        }
        painter.end();
        sheet.save(QStringLiteral(PELLIX_UI_ARTIFACTS) + "/status-glyphs.png");
        saveRowSizeSheet(symbols);
        const auto at = [&](int glyph, int dx, int dy) {
            return sheet.pixelColor(70 + 140 * glyph + dx, 70 + dy);
        };
        const QColor white(Qt::white);
        QVERIFY(uitest::near(at(0, 0, 0), theme::gradientTop()));     // ring: hollow
        QVERIFY(uitest::near(at(0, 57, 0), white));                   // ring: solid edge
        QVERIFY(uitest::near(at(2, 0, 50), white));                   // check: filled disc
        QVERIFY(uitest::near(at(2, -14, 20), theme::gradientTop()));  // check: cut-out mark
        QVERIFY(uitest::near(at(4, 0, 0), theme::gradientTop()));     // cross: cut-out centre
        QVERIFY(uitest::near(at(4, 0, 45), white));
        QVERIFY(uitest::near(at(3, 0, -10), theme::gradientTop()));  // triangle: exclamation
        QVERIFY(uitest::near(at(3, 30, 35), white));
        // Antialiased edges span about a pixel whatever the scale: no bitmap was enlarged.
        int blended = 0;
        for (int x = 0; x < 70; ++x) {
            const QColor c = at(0, x, 0);
            if (!uitest::near(c, white, 8) && !uitest::near(c, theme::gradientTop(), 8)) ++blended;
        }
        QVERIFY(blended <= 4);
    }

private:
    // The glyphs at the checklist's 14 pixels, enlarged without smoothing for review.
    static void saveRowSizeSheet(const char* const (&symbols)[5]) {
        QImage sheet(5 * 20, 20, QImage::Format_ARGB32_Premultiplied);
        sheet.fill(theme::gradientTop());
        QPainter painter(&sheet);
        painter.setRenderHint(QPainter::Antialiasing);
        const NamedColor colours[] = {NamedColor::secondary, NamedColor::blue, NamedColor::green,
                                      NamedColor::orange, NamedColor::red};
        for (int i = 0; i < 5; ++i) {
            painter.save();
            painter.translate(10 + 20 * i, 10);
            painter.fillPath(statusGlyphPath(symbols[i], 14), theme::color(colours[i]));
            painter.restore();
        }
        painter.end();
        sheet.scaled(sheet.size() * 8, Qt::IgnoreAspectRatio, Qt::FastTransformation)
            .save(QStringLiteral(PELLIX_UI_ARTIFACTS) + "/status-glyphs-14px-enlarged.png");
    }

    InstallerViewModel& installer() { return app_->installer(); }
    InstallingView* view() {
        return qobject_cast<InstallingView*>(uitest::shownScreen(app_->window()));
    }
    // True when some pixel shows `color` at half its opacity or more: the glyph is drawn in it.
    static bool hasPixelOf(const QImage& image, const QColor& color) {
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                const QColor c = image.pixelColor(x, y);
                if (uitest::near(c, color, 6) && c.alpha() >= color.alpha() / 2) {
                    return true;
                }
            }
        }
        return false;
    }

    std::unique_ptr<Sandbox> sandbox_;
    std::unique_ptr<AppUnderTest> app_;
};

}  // namespace pellix

PELLIX_UI_TEST(pellix::InstallingViewTest);
#include "InstallingViewTest.moc"
