// Placeholder until this worker is written.
#include "../InstallerViewModel.h"

namespace pellix {

StepResult InstallerViewModel::addToAllowlist(const std::string&) { return {StepStatus::warning, "not built yet"}; }

}  // namespace pellix
