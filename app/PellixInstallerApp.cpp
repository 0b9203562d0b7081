#include "PellixInstallerApp.h"

#include <QApplication>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include "ContentView.h"
#include "FontConfigWarmUp.h"
#include "QtExecutor.h"
#include "Theme.h"

namespace pellix {

namespace {

// Qt's accessibility bridge asks for the session bus at start-up. With none, libdbus would
// autolaunch one (dbus-launch and a dbus-daemon bound to the display) that outlives the installer.
// A screen reader finds applications only through a session bus, so without one there is nobody
// to talk to: autolaunching is switched off for this process. Children get their own fixed
// environment and never see the setting.
void neverAutolaunchASessionBus() {
#if !defined(Q_OS_MACOS) && !defined(Q_OS_WIN)
    const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    if (address != nullptr && *address != '\0') return;
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR")) {
        std::error_code error;
        // libdbus uses the user's bus socket there before it thinks of autolaunching.
        if (std::filesystem::is_socket(std::string(runtime) + "/bus", error)) return;
    }
    ::setenv("DBUS_SESSION_BUS_ADDRESS", "disabled:", 1);
#endif
}

}  // namespace

int runWindow(int& argc, char** argv, const WindowRunHooks& hooks) {
    neverAutolaunchASessionBus();
    // Started before anything else, so that it runs alongside the connection to the display.
    FontConfigWarmUp fonts;
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Pellix Installer"));
    theme::applyApplicationAppearance(app);

    QtExecutor executor;
    Platform platform = hooks.platform ? *hooks.platform : Platform{};
    platform.runBlockingJob = executor.executor();
    InstallerViewModel installer(std::move(platform));
    ContentView window(installer);
    window.makeApplicationWindow();
    if (hooks.beforeShow) hooks.beforeShow(window, installer);
    FontConfigWarmUp::waitUntilLoaded();
    window.show();

    const int status = QApplication::exec();
    // Closing the window or pressing Done or Quit mid-job ends the loop; the running child is
    // still waited for, so the app never leaves one unreaped, and its resume is dropped.
    executor.shutDown();
    return status;
}

}  // namespace pellix
