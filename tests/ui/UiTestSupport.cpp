#include "UiTestSupport.h"

#include <QPushButton>
#include <QTest>

#include <QDir>
#include <QTimer>
#include <algorithm>

namespace pellix::uitest {

void useHeadlessPlatformUnlessChosen() {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
}

QString saveScreenshot(QWidget* widget, const QString& name) {
    const QString folder = QStringLiteral(PELLIX_UI_ARTIFACTS);
    QDir().mkpath(folder);
    const QString path = folder + QLatin1Char('/') + name + QStringLiteral(".png");
    if (!widget->grab().save(path)) throw std::runtime_error("cannot save " + path.toStdString());
    return path;
}

QColor pixelAt(QWidget* widget, QPoint point) {
    return widget->grab().toImage().pixelColor(point);
}

bool near(const QColor& a, const QColor& b, int tolerance) {
    return std::abs(a.red() - b.red()) <= tolerance &&
           std::abs(a.green() - b.green()) <= tolerance &&
           std::abs(a.blue() - b.blue()) <= tolerance;
}

Executor parkedExecutor() {
    return [](std::function<void()>, std::function<void()>) {};
}

PhaseLog::PhaseLog(InstallerViewModel& installer) : installer_(installer) {
    subscription_ = installer_.addDidChangeObserver([this](Property property) {
        if (property == Property::phase) phases_.push_back(installer_.phase());
    });
}

PhaseLog::~PhaseLog() {
    installer_.removeObserver(subscription_);
}

int PhaseLog::count(InstallerPhase phase) const {
    return int(std::count(phases_.begin(), phases_.end(), phase));
}

Screen* shownScreen(ContentView& window) {
    const QList<Screen*> screens = window.findChildren<Screen*>(Qt::FindDirectChildrenOnly);
    if (screens.size() != 1) throw std::runtime_error("the window shows no single screen");
    return screens.front();
}

void pressKey(QWidget* window, Qt::Key key) {
    QWidget* target = QApplication::focusWidget();
    QTest::keyClick(target != nullptr ? target : window, key);
}

int runEventLoop(std::function<void()> action, int timeoutMs) {
    bool timedOut = false;
    QTimer::singleShot(0, qApp, std::move(action));
    QTimer guard;
    guard.setSingleShot(true);
    QObject::connect(&guard, &QTimer::timeout, qApp, [&timedOut] {
        timedOut = true;
        QCoreApplication::exit(99);
    });
    guard.start(timeoutMs);
    const int status = QApplication::exec();
    if (timedOut) throw std::runtime_error("the event loop did not end by itself");
    return status;
}

AppUnderTest::AppUnderTest(Platform platform, bool useQtExecutor) {
    if (useQtExecutor) platform.runBlockingJob = executor_.executor();
    installer_ = std::make_unique<InstallerViewModel>(std::move(platform));
    window_ = std::make_unique<ContentView>(*installer_);
    window_->makeApplicationWindow();
}

AppUnderTest::~AppUnderTest() {
    // As the application does: nothing is destroyed while a job still runs.
    executor_.shutDown();
    window_.reset();
    installer_.reset();
}

void AppUnderTest::clickInstall() {
    QTest::mouseClick(must<QPushButton>(window_.get(), "installButton"), Qt::LeftButton);
}

bool AppUnderTest::showAndActivate() {
    window_->show();
    window_->activateWindow();
    return QTest::qWaitForWindowExposed(window_.get()) &&
           QTest::qWaitForWindowActive(window_.get());
}

}  // namespace pellix::uitest
