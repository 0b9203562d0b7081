#include "Version.h"

#ifndef PELLIX_VERSION
#define PELLIX_VERSION "0.0.0"
#endif

namespace pellix {

const char* installerVersion() {
    return PELLIX_VERSION;
}

}  // namespace pellix
