// The checklist follows the run: the running row is kept inside the list's viewport, the list
// moves no further than needed, and a user who scrolls by hand is left alone until they come back
// to the running row.

#include <QScrollArea>
#include <QScrollBar>

#include "InstallingView.h"
#include "StepRow.h"
#include "UiTestSupport.h"

namespace pellix {

using uitest::AppUnderTest;
using uitest::kInstallTimeoutMs;
using uitest::must;
using uitest::Sandbox;

namespace {

// Eleven rows as the pipeline makes them, each with a two-line detail once it has finished.
std::vector<InstallStep> elevenRows() {
    std::vector<InstallStep> steps;
    for (int i = 0; i < 11; ++i) steps.emplace_back("Step " + std::to_string(i));
    return steps;
}

QRect placeInViewport(QScrollArea* list, QWidget* row) {
    return {row->mapTo(list->viewport(), QPoint(0, 0)), row->size()};
}

bool insideViewport(QScrollArea* list, QWidget* row) {
    return QRect(QPoint(0, 0), list->viewport()->size()).contains(placeInViewport(list, row));
}

}  // namespace

class ChecklistFollowTest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        sandbox_ = std::make_unique<Sandbox>();
        app_ = std::make_unique<AppUnderTest>(sandbox_->platform(), false);
        installer().setSteps(elevenRows());
        installer().setPhase(InstallerPhase::installing);
        QVERIFY(app_->showAndActivate());
        QTRY_VERIFY(view() != nullptr && view()->rows().size() == 11);
    }

    void cleanup() {
        app_.reset();
        sandbox_.reset();
    }

    void runningRowIsInViewAtEveryStepAndTheListMovesOnlyAsFarAsNeeded() {
        QScrollArea* list = must<QScrollArea>(view(), "stepList");
        for (int i = 0; i < 11; ++i) {
            test::updateStep(installer(), i, StepStatus::running);
            StepRow* row = view()->rows()[std::size_t(i)];
            QTRY_VERIFY2(insideViewport(list, row), qPrintable(QStringLiteral("row %1").arg(i)));
            if (i == 10) {
                uitest::saveScreenshot(&app_->window(),
                                       QStringLiteral("checklist-follows-last-row"));
            }
            const QRect place = placeInViewport(list, row);
            // Either it was already in view, or it now sits one row gap above the bottom edge.
            const int value = list->verticalScrollBar()->value();
            QVERIFY(value == 0 || place.bottom() + 1 + 8 == list->viewport()->height() ||
                    place.bottom() + 1 == list->viewport()->height());
            test::updateStep(installer(), i, StepStatus::success,
                             "/a/long/home/path/" + std::to_string(i) + "/agents/pellix");
            QTRY_VERIFY(row->detail()->isVisible());
        }
        QVERIFY(list->verticalScrollBar()->value() > 0);
    }

    void scrollingByHandPausesFollowingUntilTheUserReturnsToTheRunningRow() {
        QScrollArea* list = must<QScrollArea>(view(), "stepList");
        for (int i = 0; i < 8; ++i)
            test::updateStep(installer(), i, StepStatus::success, "done\nthere");
        test::updateStep(installer(), 8, StepStatus::running);
        QTRY_VERIFY(view()->rows()[7]->detail()->isVisible());
        StepRow* eight = view()->rows()[8];
        QTRY_VERIFY(list->verticalScrollBar()->value() > 0 && insideViewport(list, eight));

        list->verticalScrollBar()->setValue(0);  // the user scrolls back to the top by hand
        test::updateStep(installer(), 8, StepStatus::success, "done");
        test::updateStep(installer(), 9, StepStatus::running);
        QTest::qWait(100);
        QCOMPARE(list->verticalScrollBar()->value(), 0);
        QVERIFY(!insideViewport(list, view()->rows()[9]));
        uitest::saveScreenshot(&app_->window(), QStringLiteral("checklist-left-where-user-put-it"));

        // Back near the running row: following resumes with the next change.
        list->verticalScrollBar()->setValue(list->verticalScrollBar()->maximum());
        test::updateStep(installer(), 9, StepStatus::success, "done");
        test::updateStep(installer(), 10, StepStatus::running);
        QTRY_VERIFY(insideViewport(list, view()->rows()[10]));
    }

    void wholeSlowInstallKeepsEveryRunningRowInView() {
        app_.reset();
        sandbox_ = std::make_unique<Sandbox>();
        test::writeFile(sandbox_->fakeBin() + "/sleep-openclaw", "1\n");
        test::writeFile(sandbox_->fakeBin() + "/sleep-bootstrap", "1\n");
        app_ = std::make_unique<AppUnderTest>(sandbox_->platform());
        QVERIFY(app_->showAndActivate());
        QList<int> seenRunning;
        QList<int> outOfView;
        QTimer watcher;
        watcher.setInterval(5);
        connect(&watcher, &QTimer::timeout, this, [&] {
            auto* installing = qobject_cast<InstallingView*>(uitest::shownScreen(app_->window()));
            if (installing == nullptr) return;
            auto* list = must<QScrollArea>(installing, "stepList");
            const std::vector<InstallStep>& steps = installer().steps();
            for (std::size_t i = 0; i < steps.size() && i < installing->rows().size(); ++i) {
                if (steps[i].status != StepStatus::running) continue;
                if (!seenRunning.contains(int(i))) seenRunning.append(int(i));
                // A row counts once it has been running for a whole tick: the list follows on
                // the next turn of the event loop, never in the middle of a change.
                if (!insideViewport(list, installing->rows()[i]) && seenRunning.last() == int(i))
                    outOfView.append(int(i));
            }
        });
        watcher.start();
        app_->clickInstall();
        QTRY_VERIFY_WITH_TIMEOUT(installer().steps().size() == 11 &&
                                     installer().steps()[9].status == StepStatus::running,
                                 kInstallTimeoutMs);
        QTest::qWait(300);
        QVERIFY(insideViewport(must<QScrollArea>(view(), "stepList"), view()->rows()[9]));
        uitest::saveScreenshot(&app_->window(),
                               QStringLiteral("checklist-follows-gateway-restart"));
        QTRY_COMPARE_WITH_TIMEOUT(uitest::name(installer().phase()), QStringLiteral("complete"),
                                  kInstallTimeoutMs);
        watcher.stop();
        QVERIFY(seenRunning.contains(7) && seenRunning.contains(8) && seenRunning.contains(9));
        // Each row may be caught once right as it starts, before the list has moved.
        for (int row : seenRunning) QVERIFY(outOfView.count(row) <= 1);
    }

private:
    InstallerViewModel& installer() { return app_->installer(); }
    InstallingView* view() {
        return qobject_cast<InstallingView*>(uitest::shownScreen(app_->window()));
    }

    std::unique_ptr<Sandbox> sandbox_;
    std::unique_ptr<AppUnderTest> app_;
};

}  // namespace pellix

PELLIX_UI_TEST(pellix::ChecklistFollowTest);
#include "ChecklistFollowTest.moc"
