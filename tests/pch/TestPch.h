// The headers nearly every GoogleTest file includes, precompiled once (tests/CMakeLists.txt).
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "InstallerViewModel.h"
#include "TestSupport.h"
