#pragma once
// Strict UTF-8 validation for what child processes print. A pure function, safe on any thread.

#include <string_view>

namespace pellix {

// Strict UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF.
bool isValidUtf8(std::string_view bytes);

}  // namespace pellix
