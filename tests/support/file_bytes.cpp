#include "support/file_bytes.h"

#include <fstream>
#include <iterator>

namespace testing_support {

std::string fileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace testing_support
