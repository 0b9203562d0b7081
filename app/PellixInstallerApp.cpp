#include "PellixInstallerApp.h"

#include <QApplication>

#include "ContentView.h"
#include "FontConfigWarmUp.h"
#include "QtExecutor.h"
#include "Theme.h"

namespace pellix {

int runWindow(int& argc, char** argv, const WindowRunHooks& hooks) {
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
