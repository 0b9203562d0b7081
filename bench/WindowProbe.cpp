// The process the window benchmark starts and measures. One mode per run:
//   --real     the installer's window, started by runWindow as the application starts it: prints
//              the monotonic time (ns) at its first painted frame, then quits
//   --bare     a bare Qt Widgets window of the same size, measured the same way
//   --install  the real window through a whole install with fakes that answer at once: prints the
//              largest gap (ms) between ticks of a 1 ms timer, then quits

#include <QApplication>
#include <QElapsedTimer>
#include <QTimer>
#include <QWidget>
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <memory>
#include <string>

#include "ContentView.h"
#include "InstallSandbox.h"
#include "PellixInstallerApp.h"

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

int measureBareWindow(int& argc, char** argv) {
    QApplication app(argc, argv);
    QWidget window;
    window.setFixedSize(640, 520);
    FirstPaint probe;
    window.installEventFilter(&probe);
    window.show();
    return QApplication::exec();
}

int measureRealWindow(int& argc, char** argv) {
    FirstPaint probe;
    pellix::WindowRunHooks hooks;
    hooks.beforeShow = [&probe](pellix::ContentView& window, pellix::InstallerViewModel&) {
        window.installEventFilter(&probe);
    };
    return pellix::runWindow(argc, argv, hooks);
}

// Ticks every millisecond from the first turn of the event loop, starts the install and ends the
// loop when it is over.
class GapTimer {
public:
    void start(pellix::InstallerViewModel& installer) {
        QObject::connect(&ticker_, &QTimer::timeout, [this, &installer] {
            const qint64 now = clock_.elapsed();
            largest_ = std::max(largest_, now - last_);
            last_ = now;
            const auto phase = installer.phase();
            if (phase == pellix::InstallerPhase::complete ||
                phase == pellix::InstallerPhase::error) {
                completed_ = phase == pellix::InstallerPhase::complete;
                ticker_.stop();
                QCoreApplication::quit();
            }
        });
        QTimer::singleShot(0, [this, &installer] {
            clock_.start();
            ticker_.start(1);
            installer.startInstall();
        });
    }
    qint64 largest() const { return largest_; }
    bool completed() const { return completed_; }

private:
    QElapsedTimer clock_;
    QTimer ticker_;
    qint64 last_ = 0;
    qint64 largest_ = 0;
    bool completed_ = false;
};

int measureInstall(int& argc, char** argv) {
    const pellix::test::Sandbox sandbox;

    std::unique_ptr<GapTimer> gaps;
    pellix::WindowRunHooks hooks;
    hooks.platform = sandbox.platform();
    hooks.beforeShow = [&gaps](pellix::ContentView&, pellix::InstallerViewModel& installer) {
        // Made once the application exists: a timer belongs to the thread of its event loop.
        gaps = std::make_unique<GapTimer>();
        gaps->start(installer);
    };
    const int status = pellix::runWindow(argc, argv, hooks);
    std::printf("%lld %s\n", static_cast<long long>(gaps->largest()),
                gaps->completed() ? "complete" : "error");
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "--real";
    if (mode == "--bare") return measureBareWindow(argc, argv);
    if (mode == "--install") return measureInstall(argc, argv);
    return measureRealWindow(argc, argv);
}
