// The process the window benchmark starts and measures. One mode per run:
//   --real     the installer's window as runWindow builds it: prints the monotonic time (ns) at its
//              first painted frame, then quits
//   --bare     a bare Qt Widgets window of the same size, measured the same way
//   --install  the real window through a whole install with fakes that answer at once: prints the
//              largest gap (ms) between ticks of a 1 ms timer, then quits

#include <QApplication>
#include <QElapsedTimer>
#include <QTimer>
#include <QWidget>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <memory>

#include "ContentView.h"
#include "QtExecutor.h"
#include "TestSupport.h"
#include "Theme.h"

namespace {

long long monotonicNanoseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<long long>(now.tv_sec) * 1000000000LL + now.tv_nsec;
}

// Reports the moment the window's first paint has been handled, then ends the event loop.
class FirstPaint : public QObject {
public:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint && !seen_) {
            seen_ = true;
            QTimer::singleShot(0, [] {
                std::printf("%lld\n", monotonicNanoseconds());
                QCoreApplication::quit();
            });
        }
        return QObject::eventFilter(watched, event);
    }

private:
    bool seen_ = false;
};

int measureFirstPaint(QWidget& window) {
    FirstPaint probe;
    window.installEventFilter(&probe);
    window.show();
    return QApplication::exec();
}

int installWithGapTimer(pellix::InstallerViewModel& installer, pellix::QtExecutor& executor) {
    QElapsedTimer clock;
    qint64 last = 0;
    qint64 largest = 0;
    QTimer ticker;
    ticker.setInterval(1);
    QObject::connect(&ticker, &QTimer::timeout, [&] {
        const qint64 now = clock.elapsed();
        largest = std::max(largest, now - last);
        last = now;
        const auto phase = installer.phase();
        if (phase == pellix::InstallerPhase::complete || phase == pellix::InstallerPhase::error) {
            QCoreApplication::quit();
        }
    });
    QTimer::singleShot(0, [&] {
        clock.start();
        ticker.start();
        installer.startInstall();
    });
    const int status = QApplication::exec();
    executor.shutDown();
    std::printf("%lld %s\n", static_cast<long long>(largest),
                installer.phase() == pellix::InstallerPhase::complete ? "complete" : "error");
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "--real";
    QApplication app(argc, argv);
    if (mode == "--bare") {
        QWidget window;
        window.setFixedSize(640, 520);
        return measureFirstPaint(window);
    }

    QApplication::setApplicationName(QStringLiteral("Pellix Installer"));
    pellix::theme::applyApplicationAppearance(app);
    pellix::QtExecutor executor;
    std::unique_ptr<pellix::test::TempDir> root;
    pellix::Platform platform;
    if (mode == "--install") {
        root = std::make_unique<pellix::test::TempDir>();
        const std::string home = *root / "home";
        pellix::test::makeDirs(home + "/.openclaw/workspace-main/agents");
        pellix::test::writeFile(home + "/.openclaw/openclaw.json", R"({"agents": {}})");
        pellix::test::writeSampleAgent(*root / "resources/pellix-bundle");
        const std::string fakeBin = pellix::test::installFakeCommands(*root / "bin");
        platform = pellix::test::testPlatform(home, fakeBin, std::nullopt, *root / "resources");
    }
    platform.runBlockingJob = executor.executor();
    pellix::InstallerViewModel installer(std::move(platform));
    pellix::ContentView window(installer);
    window.makeApplicationWindow();
    if (mode == "--install") {
        window.show();
        return installWithGapTimer(installer, executor);
    }
    return measureFirstPaint(window);
}
