// Placeholder until this worker is written.
#include "../InstallerViewModel.h"

namespace pellix {

Task<StepResult> InstallerViewModel::verifyInstall(std::string) { co_return StepResult{StepStatus::warning, "not built yet"}; }

}  // namespace pellix
