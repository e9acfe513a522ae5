// A whole file's bytes, for comparing what the code wrote or read with the
// files themselves.
#pragma once

#include <string>

namespace testing_support {
// The file's bytes; empty when it cannot be read.
std::string fileBytes(const std::string& path);
}
