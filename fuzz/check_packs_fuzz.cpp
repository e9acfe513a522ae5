// Fuzzes the audio pack filter: any bytes, cut into whole sectors, judged in
// every audio mode for a stream number taken from the input.
#include <cstdint>
#include <sstream>
#include <vector>

#include "dvdnav/dvd_title_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  std::int32_t stream = data[0] & 0x1F;
  std::size_t sectors = (size - 1) / 2048;
  if (sectors == 0) return 0;
  std::ostringstream log;
  DvdTitleReader reader(log);
  for (std::int32_t mode = 0; mode <= 2; ++mode) {
    std::vector<std::uint8_t> bytes(data + 1, data + 1 + sectors * 2048);
    reader.setAudio(mode, stream);
    reader.checkPacks(bytes.data(), static_cast<std::int32_t>(sectors));
  }
  return 0;
}
