// The window as assistive technology sees it through QAccessible: checklist rows as list items
// named "label, status[, detail]" and announced once per change, each picker a named radio group
// whose items say "n of m", decoration left out, a screen announced when the phase changes, and
// an error message that can be selected and copied.

#include <QAccessible>
#include <QClipboard>

#include "CompleteView.h"
#include "EmojiLabel.h"
#include "InstallingView.h"
#include "StatusGlyph.h"
#include "StepRow.h"
#include "UiTestSupport.h"

namespace pellix {

using uitest::AppUnderTest;
using uitest::must;
using uitest::Sandbox;

namespace {

struct Heard {
    QAccessible::Event type;
    QObject* object;
};
std::vector<Heard> heard;

void listen(QAccessibleEvent* event) {
    heard.push_back({event->type(), event->object()});
}

QAccessibleInterface* accessible(QObject* object) {
    return QAccessible::queryAccessibleInterface(object);
}

// Every interface reachable from `root` by walking children, as a screen reader does.
void walk(QAccessibleInterface* root, QList<QAccessibleInterface*>& found) {
    found.append(root);
    for (int i = 0; i < root->childCount(); ++i) {
        if (QAccessibleInterface* child = root->child(i)) walk(child, found);
    }
}

QList<QAccessibleInterface*> tree(QWidget* window) {
    QList<QAccessibleInterface*> found;
    walk(accessible(window), found);
    return found;
}

QStringList namesIn(QWidget* window) {
    QStringList names;
    for (QAccessibleInterface* each : tree(window)) names << each->text(QAccessible::Name);
    return names;
}

bool anyDecorationIn(QWidget* window) {
    for (QAccessibleInterface* each : tree(window)) {
        if (qobject_cast<EmojiLabel*>(each->object()) || qobject_cast<StatusGlyph*>(each->object()))
            return true;
    }
    return false;
}

// Name changes of objects a screen reader can reach in the tree of `window`.
QList<QObject*> namesChangedInTree(QWidget* window) {
    QList<QObject*> reachable;
    for (QAccessibleInterface* each : tree(window)) reachable << each->object();
    QList<QObject*> changed;
    for (const Heard& each : heard) {
        if (each.type == QAccessible::NameChanged && reachable.contains(each.object))
            changed << each.object;
    }
    return changed;
}

}  // namespace

class AccessibilityTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QAccessible::installUpdateHandler(listen);
        // On a platform with an accessibility bridge it switches on once it has reached the bus.
        if (QGuiApplication::platformName() != QLatin1String("offscreen")) {
            if (!QTest::qWaitFor([] { return QAccessible::isActive(); }, 5000)) {
                qWarning("the accessibility bridge did not switch on: is an AT-SPI bus running?");
            }
        }
    }

    void init() { heard.clear(); }

    void rowsAreListItemsNamedLabelStatusAndDetail() {
        Sandbox sandbox;
        AppUnderTest app(sandbox.platform(), false);
        app.installer().setSteps({InstallStep("First"), InstallStep("Second")});
        app.installer().setPhase(InstallerPhase::installing);
        QVERIFY(app.showAndActivate());
        QTRY_VERIFY(app.window().findChild<StepRow*>("stepRow-1") != nullptr);
        auto* first = must<StepRow>(&app.window(), "stepRow-0");
        QAccessibleInterface* row = accessible(first);
        QCOMPARE(row->role(), QAccessible::ListItem);
        QCOMPARE(row->text(QAccessible::Name), QStringLiteral("First, pending"));
        QCOMPARE(row->childCount(), 0);
        QAccessibleInterface* list = row->parent();
        QCOMPARE(list->role(), QAccessible::List);
        QCOMPARE(list->text(QAccessible::Name), QStringLiteral("Installation steps"));
        QCOMPARE(list->childCount(), 2);
        QCOMPARE(list->indexOfChild(row), 0);

        test::updateStep(app.installer(), 0, StepStatus::success, "/home/me/.openclaw");
        QTRY_COMPARE(row->text(QAccessible::Name),
                     QStringLiteral("First, success, /home/me/.openclaw"));
        test::updateStep(app.installer(), 1, StepStatus::running);
        QTRY_COMPARE(accessible(must<StepRow>(&app.window(), "stepRow-1"))->text(QAccessible::Name),
                     QStringLiteral("Second, running"));
    }

    void eachRowChangeIsAnnouncedOnceAndNothingElse() {
        if (!QAccessible::isActive()) {
            QSKIP(
                "no accessibility bridge is active, so no events are sent (offscreen); "
                "ctest's ui.xvfb.Accessibility runs this on Xvfb with an AT-SPI bus");
        }
        Sandbox sandbox;
        AppUnderTest app(sandbox.platform(), false);
        app.installer().setSteps({InstallStep("First"), InstallStep("Second")});
        app.installer().setPhase(InstallerPhase::installing);
        QVERIFY(app.showAndActivate());
        QTRY_VERIFY(app.window().findChild<StepRow*>("stepRow-1") != nullptr);
        QTest::qWait(50);
        heard.clear();

        test::updateStep(app.installer(), 1, StepStatus::warning, "Restart may need manual run");
        auto* second = must<StepRow>(&app.window(), "stepRow-1");
        QTRY_COMPARE(second->accessibleName(),
                     QStringLiteral("Second, warning, Restart may need manual run"));
        QTest::qWait(50);
        QCOMPARE(namesChangedInTree(&app.window()), QList<QObject*>{second});

        heard.clear();
        app.installer().setProgress(0.75);  // a change that leaves every row as it was
        QTest::qWait(50);
        QCOMPARE(namesChangedInTree(&app.window()), QList<QObject*>{});
    }

    void pickersAreNamedRadioGroupsWithPositions() {
        Sandbox sandbox;
        AppUnderTest app(sandbox.platform(), false);
        QVERIFY(app.showAndActivate());
        QAccessibleInterface* scan = accessible(must<QWidget>(&app.window(), "scanPreset"));
        QCOMPARE(scan->role(), QAccessible::Grouping);
        QCOMPARE(scan->text(QAccessible::Name), QStringLiteral("Scan Frequency"));
        const auto labels = scan->relations(QAccessible::Label);
        QCOMPARE(labels.size(), 1);
        QCOMPARE(labels.front().first->object(), must<QObject>(&app.window(), "scanCaption"));
        QCOMPARE(scan->childCount(), 4);
        QAccessibleInterface* standard = scan->child(1);
        QCOMPARE(standard->role(), QAccessible::RadioButton);
        QCOMPARE(standard->text(QAccessible::Name), QStringLiteral("Standard (15 min)"));
        QCOMPARE(standard->text(QAccessible::Description), QStringLiteral("2 of 4"));
        QVERIFY(standard->state().checkable && standard->state().checked);
        QVERIFY(!scan->child(0)->state().checked);
        QCOMPARE(scan->indexOfChild(standard), 1);

        QAccessibleInterface* daily = scan->child(3);
        daily->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        QCOMPARE(app.installer().scanPreset(), std::string("daily"));
        QTRY_VERIFY(daily->state().checked);

        QAccessibleInterface* model = accessible(must<QWidget>(&app.window(), "modelChoice"));
        QCOMPARE(model->role(), QAccessible::Grouping);
        QCOMPARE(model->text(QAccessible::Name), QStringLiteral("AI Model"));
        QCOMPARE(model->childCount(), 3);
        QCOMPARE(model->child(0)->text(QAccessible::Name), QStringLiteral("Haiku (~$15/mo)"));
        QCOMPARE(model->child(0)->text(QAccessible::Description), QStringLiteral("1 of 3"));
    }

    void decorationIsHiddenOnEveryScreen() {
        Sandbox sandbox;
        AppUnderTest app(sandbox.platform(), false);
        app.installer().setSteps({InstallStep("First")});
        QVERIFY(app.showAndActivate());
        for (InstallerPhase phase : {InstallerPhase::welcome, InstallerPhase::installing,
                                     InstallerPhase::complete, InstallerPhase::error}) {
            app.installer().setPhase(phase);
            QTRY_COMPARE(uitest::shownScreen(app.window())->objectName(),
                         QString(uitest::name(phase) + QStringLiteral("View")));
            QVERIFY2(!anyDecorationIn(&app.window()), qPrintable(uitest::name(phase)));
            const QStringList names = namesIn(&app.window());
            for (const QString& emoji :
                 {QStringLiteral("\U0001F9E0"), QStringLiteral("\u2705"), QStringLiteral("\u274C"),
                  QStringLiteral("found"), QStringLiteral("missing")}) {
                QVERIFY2(!names.contains(emoji), qPrintable(emoji));
            }
            if (phase == InstallerPhase::welcome) {
                QVERIFY(names.contains(QStringLiteral("OpenClaw detected")));
            }
        }
    }

    void eachNewScreenIsAnnouncedOnceByItsTitle() {
        if (!QAccessible::isActive()) {
            QSKIP(
                "no accessibility bridge is active, so no events are sent (offscreen); "
                "ctest's ui.xvfb.Accessibility runs this on Xvfb with an AT-SPI bus");
        }
        Sandbox sandbox;
        AppUnderTest app(sandbox.platform(), false);
        QVERIFY(app.showAndActivate());
        heard.clear();
        app.installer().setPhase(InstallerPhase::complete);
        QTRY_VERIFY(qobject_cast<CompleteView*>(uitest::shownScreen(app.window())));
        QTest::qWait(50);
        QList<QObject*> alerts;
        for (const Heard& each : heard) {
            if (each.type == QAccessible::Alert) alerts << each.object;
        }
        QCOMPARE(alerts, QList<QObject*>{uitest::shownScreen(app.window())});
        QAccessibleInterface* screen = accessible(alerts.front());
        QCOMPARE(screen->role(), QAccessible::Pane);
        QCOMPARE(screen->text(QAccessible::Name), QStringLiteral("Pellix is Watching"));
    }

    void errorMessageSelectsAndCopiesByKeyboard() {
        Sandbox sandbox;
        AppUnderTest app(sandbox.platform(), false);
        app.installer().setErrorMessage(
            "No OpenClaw workspace found. Create one first: openclaw init");
        app.installer().setPhase(InstallerPhase::error);
        QVERIFY(app.showAndActivate());
        auto* message = must<QLabel>(&app.window(), "errorMessage");
        QTRY_VERIFY(message->isVisible());
        const QImage before = message->grab().toImage();
        QVERIFY(message->textInteractionFlags() & Qt::TextSelectableByMouse);
        QVERIFY(message->textInteractionFlags() & Qt::TextSelectableByKeyboard);
        message->setFocus(Qt::TabFocusReason);
        QTest::keyClick(message, Qt::Key_A, Qt::ControlModifier);
        QCOMPARE(message->selectedText(), message->text());
        QGuiApplication::clipboard()->clear();
        QTest::keyClick(message, Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(QGuiApplication::clipboard()->text(),
                 QStringLiteral("No OpenClaw workspace found. Create one first: openclaw init"));
        uitest::saveScreenshot(&app.window(), QStringLiteral("error-message-selected"));
        QVERIFY(message->grab().toImage() != before);
        message->setSelection(0, 0);
        QTRY_COMPARE(message->grab().toImage(), before);
    }

    void errorMessageSelectsByMouseDrag() {
        Sandbox sandbox;
        AppUnderTest app(sandbox.platform(), false);
        app.installer().setErrorMessage("Failed to copy agent files: Permission denied");
        app.installer().setPhase(InstallerPhase::error);
        QVERIFY(app.showAndActivate());
        auto* message = must<QLabel>(&app.window(), "errorMessage");
        QTRY_VERIFY(message->isVisible());
        const int y = message->height() / 2;
        QTest::mousePress(message, Qt::LeftButton, {}, QPoint(2, y));
        QTest::mouseMove(message, QPoint(message->width() / 2, y));
        QTest::mouseMove(message, QPoint(message->width() - 2, y));
        QTest::mouseRelease(message, Qt::LeftButton, {}, QPoint(message->width() - 2, y));
        QCOMPARE(message->selectedText(), message->text());
    }
};

}  // namespace pellix

PELLIX_UI_TEST(pellix::AccessibilityTest);
#include "AccessibilityTest.moc"
