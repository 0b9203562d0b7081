// Placeholder until this worker is written.
#include "../InstallerViewModel.h"

namespace pellix {

Task<ShellResult> InstallerViewModel::shellCommand(std::string) { co_return ShellResult{-1, "not built yet"}; }
Task<std::string> InstallerViewModel::findPython3() { co_return std::string("/usr/bin/python3"); }

}  // namespace pellix
