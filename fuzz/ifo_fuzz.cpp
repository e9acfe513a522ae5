// Fuzzes the IFO parsers: any bytes, parsed as a Video Manager and as a title
// set (the identifier is forced for half the inputs so that the parsers get
// past it), then dumped. The dump and the log go to a stream that only
// counts, so each run costs what the parsers and printers cost, not the
// growth of a string.
#include <cstdint>
#include <cstring>
#include <ostream>
#include <streambuf>
#include <vector>

#include "dvdnav/ifo_dump.h"
#include "dvdnav/ifo_parser.h"

namespace {

class CountingSink : public std::streambuf {
 public:
  std::size_t written = 0;

 protected:
  int_type overflow(int_type c) override {
    ++written;
    return traits_type::not_eof(c);
  }
  std::streamsize xsputn(const char*, std::streamsize n) override {
    written += static_cast<std::size_t>(n);
    return n;
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<std::uint8_t> bytes(data, data + size);
  bool force = size > 0 && (data[size - 1] & 1);
  CountingSink sink;
  std::ostream out(&sink);

  if (force && bytes.size() >= 12) std::memcpy(bytes.data(), "DVDVIDEO-VMG", 12);
  {
    dvdnav::VideoManagerInfo vmg;
    dvdnav::parseVideoManager(dvdnav::IfoBytes(bytes.data(), bytes.size()), vmg, out);
    out << vmg;
  }

  if (force && bytes.size() >= 12) std::memcpy(bytes.data(), "DVDVIDEO-VTS", 12);
  {
    dvdnav::TitleSetInfo vts;
    dvdnav::parseTitleSet(dvdnav::IfoBytes(bytes.data(), bytes.size()), vts, out);
    out << vts;
  }
  return 0;
}
