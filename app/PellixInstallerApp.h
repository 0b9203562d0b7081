#pragma once
// The window front end: a Qt application with one InstallerViewModel for its whole life and one
// fixed 640 x 520 window. Main thread only.

namespace pellix {

int runWindow(int& argc, char** argv);

}  // namespace pellix
