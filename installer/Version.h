#pragma once
// The installer's own version, as the build gives it.

namespace pellix {

const char* installerVersion();

}  // namespace pellix
