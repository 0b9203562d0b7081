// Placeholder until this worker is written.
#include "../InstallerViewModel.h"

namespace pellix {

StepResult InstallerViewModel::registerPellixAgent(const std::string&) { return {StepStatus::failed, "not built yet"}; }

}  // namespace pellix
