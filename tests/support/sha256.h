// SHA-256 of a byte string, for comparing bytes with digests made by other
// tools.
#pragma once

#include <string>

namespace testing_support {
std::string sha256Hex(const std::string& bytes);
}
