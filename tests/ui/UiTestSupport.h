#pragma once
// Helpers for the window's tests: a headless Qt main, widget look-up by object name, a sandbox
// with OpenClaw, fake commands and an agent bundle, and the window assembled as the app does it.
// Qt thread only.

#include <QApplication>
#include <QImage>
#include <QLabel>
#include <QPushButton>
#include <QString>
#include <QWidget>
#include <QtTest>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "ContentView.h"
#include "InstallSandbox.h"
#include "QtExecutor.h"
#include "Screen.h"
#include "TestSupport.h"
#include "Theme.h"

namespace pellix::uitest {

// The tests run without a display unless a platform is chosen explicitly.
void useHeadlessPlatformUnlessChosen();

// The widget named `name` under `root`; throws (failing the test) when there is none.
template <typename T = QWidget>
T* must(const QObject* root, const QString& name) {
    T* found = root->findChild<T*>(name);
    if (found == nullptr) throw std::runtime_error("no widget named " + name.toStdString());
    return found;
}

// Names for comparisons, so a failure prints "error" rather than a number.
inline QString name(InstallerPhase phase) {
    return QString::fromUtf8(toString(phase).data());
}
inline QString name(StepStatus status) {
    return QString::fromUtf8(toString(status).data());
}

// How long a test waits for a whole install with the fakes to end.
inline constexpr int kInstallTimeoutMs = 60000;

// An executor that never starts a job: a run stops at its first blocking job and stays there.
Executor parkedExecutor();

// Records every phase the view model enters, in order, after each change is stored.
class PhaseLog {
public:
    explicit PhaseLog(InstallerViewModel& installer);
    ~PhaseLog();
    int count(InstallerPhase phase) const;
    const std::vector<InstallerPhase>& phases() const { return phases_; }

private:
    InstallerViewModel& installer_;
    InstallerViewModel::ObserverId subscription_;
    std::vector<InstallerPhase> phases_;
};

// The one screen the window shows now; throws when there is not exactly one.
Screen* shownScreen(ContentView& window);
// Sends a key to whatever has focus in `window` (the window itself when nothing has).
void pressKey(QWidget* window, Qt::Key key);
// Runs the application's event loop, with `action` as its first event, until something quits
// it; fails after `timeoutMs`. Returns exec()'s result.
int runEventLoop(std::function<void()> action, int timeoutMs = 10000);

// Saves `widget` as <build>/test-artifacts/<name>.png and returns the path.
QString saveScreenshot(QWidget* widget, const QString& name);
QColor pixelAt(QWidget* widget, QPoint point);
// True when the two colours differ by at most `tolerance` in every channel.
bool near(const QColor& a, const QColor& b, int tolerance = 3);

using test::AgentSource;
using test::Sandbox;

// The window as the application builds it: the Qt executor, one view model, the root view.
class AppUnderTest {
public:
    explicit AppUnderTest(Platform platform, bool useQtExecutor = true);
    ~AppUnderTest();
    InstallerViewModel& installer() { return *installer_; }
    ContentView& window() { return *window_; }
    QtExecutor& executor() { return executor_; }
    // Shows the window and waits until it is on screen and active.
    bool showAndActivate();
    // Clicks the welcome screen's install button.
    void clickInstall();

private:
    QtExecutor executor_;
    std::unique_ptr<InstallerViewModel> installer_;
    std::unique_ptr<ContentView> window_;
};

// The window tests share one executable (UiTestMain.cpp): each test class registers itself under
// its own name, and the executable runs the class its first argument names.
// `beforeApplication`, when given, runs before the QApplication exists (to set up fontconfig, say).
using UiTestFactory = std::function<std::unique_ptr<QObject>()>;
bool registerUiTest(const char* qualifiedName, UiTestFactory factory,
                    std::function<void()> beforeApplication = {});
int runRegisteredUiTest(int argc, char** argv);

}  // namespace pellix::uitest

#define PELLIX_UI_TEST(TestClass) PELLIX_UI_TEST_BEFORE_APPLICATION(TestClass, {})
#define PELLIX_UI_TEST_BEFORE_APPLICATION(TestClass, beforeApplication)        \
    static const bool pellixRegisteredUiTest = pellix::uitest::registerUiTest( \
        #TestClass, [] { return std::unique_ptr<QObject>(new TestClass); }, beforeApplication)

// A window test built as an executable of its own.
#define PELLIX_UI_TEST_MAIN(TestClass)                     \
    int main(int argc, char** argv) {                      \
        pellix::uitest::useHeadlessPlatformUnlessChosen(); \
        QApplication app(argc, argv);                      \
        QApplication::setAttribute(Qt::AA_Use96Dpi, true); \
        pellix::theme::applyApplicationAppearance(app);    \
        TestClass test;                                    \
        return QTest::qExec(&test, argc, argv);            \
    }
