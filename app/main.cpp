// Entry point: the window by default, the terminal front end with --headless (or when the build
// has no window at all).

#include <string>
#include <vector>

#include "HeadlessInstall.h"
#if defined(PELLIX_WITH_GUI)
#include "PellixInstallerApp.h"
#endif

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
#if defined(PELLIX_WITH_GUI)
    if (!pellix::wantsHeadless(arguments)) return pellix::runWindow(argc, argv);
#endif
    return pellix::runHeadless(arguments);
}
