// Fuzzes the IFO parsers: any bytes, parsed as a Video Manager and as a title
// set (the identifier is forced for half the inputs so that the parsers get
// past it), then dumped.
#include <cstdint>
#include <cstring>
#include <sstream>
#include <vector>

#include "dvdnav/ifo_dump.h"
#include "dvdnav/ifo_parser.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<std::uint8_t> bytes(data, data + size);
  bool force = size > 0 && (data[size - 1] & 1);
  std::ostringstream log;

  if (force && bytes.size() >= 12) std::memcpy(bytes.data(), "DVDVIDEO-VMG", 12);
  dvdnav::VideoManagerInfo vmg;
  dvdnav::parseVideoManager(dvdnav::IfoBytes(bytes.data(), bytes.size()), vmg, log);
  std::ostringstream dump;
  dump << vmg;

  if (force && bytes.size() >= 12) std::memcpy(bytes.data(), "DVDVIDEO-VTS", 12);
  dvdnav::TitleSetInfo vts;
  dvdnav::parseTitleSet(dvdnav::IfoBytes(bytes.data(), bytes.size()), vts, log);
  dump << vts;
  return 0;
}
