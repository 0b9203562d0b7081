#pragma once
// The terminal front end: runs the same view model and pipeline as the window, with no GUI
// application and no display, for admins and scripts. Main thread only.

#include <string>
#include <vector>

namespace pellix {

// Handles the whole command line (arguments after the program name) and returns the exit status.
int runHeadless(const std::vector<std::string>& arguments);

// True when the command line asks for the terminal front end (or only for help or the version).
bool wantsHeadless(const std::vector<std::string>& arguments);

}  // namespace pellix
