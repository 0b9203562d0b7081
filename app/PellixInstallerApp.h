#pragma once
// The window front end: a Qt application with one InstallerViewModel for its whole life and one
// fixed 640 x 520 window. Main thread only.

#include <functional>
#include <optional>

#include "Platform.h"

namespace pellix {

class ContentView;
class InstallerViewModel;

// What a caller other than main may add to a run of the window. The start-up benchmark's probe
// uses them to watch the first frame, or to drive an install against fakes, through the very
// start-up the application itself goes through.
struct WindowRunHooks {
    // The view model's seams; the system's own when empty. The window's executor is put in.
    std::optional<Platform> platform;
    // Called once the window is built, just before it is shown.
    std::function<void(ContentView& window, InstallerViewModel& installer)> beforeShow;
};

int runWindow(int& argc, char** argv, const WindowRunHooks& hooks = {});

}  // namespace pellix
