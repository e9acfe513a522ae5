#include "platform/process.h"

namespace platform {

std::string fileNamePart(const std::string& path) {
  std::size_t cut = path.find_last_of("\\/");
  return cut == std::string::npos ? path : path.substr(cut + 1);
}

}  // namespace platform
