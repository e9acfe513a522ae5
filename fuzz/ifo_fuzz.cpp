// Fuzzes the IFO parsers: any bytes, parsed as a Video Manager and as a title
// set (the identifier is forced for half the inputs so that the parsers get
// past it), then dumped, and every program chain of the title set timed into
// chapters as the tool lists them. The dump and the log go to a stream that only
// counts, so each run costs what the parsers and printers cost, not the
// growth of a string; past 64 KiB the stream refuses further text, so a
// record of many entries is still walked whole by its printer but no longer
// formatted at length, and the target keeps its pace.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <streambuf>
#include <unordered_set>
#include <vector>

#include "dvdnav/chapter_list.h"
#include "dvdnav/ifo_dump.h"
#include "dvdnav/ifo_parser.h"

namespace {

class CountingSink : public std::streambuf {
 public:
  static constexpr std::size_t kLimit = 64 * 1024;
  std::size_t written = 0;

 protected:
  int_type overflow(int_type c) override {
    if (written >= kLimit) return traits_type::eof();
    ++written;
    return traits_type::not_eof(c);
  }
  std::streamsize xsputn(const char*, std::streamsize n) override {
    if (written >= kLimit) return 0;
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
  sink.written = 0;
  out.clear();
  {
    dvdnav::TitleSetInfo vts;
    dvdnav::parseTitleSet(dvdnav::IfoBytes(bytes.data(), bytes.size()), vts, out);
    out << vts;
    // Entries that share a block share its chapters: each record is timed
    // once, so a table of many entries pointing at one chain stays cheap.
    std::unordered_set<const dvdnav::ProgramChain*> timed;
    for (std::size_t i = 0; i < vts.programchains.size(); ++i) {
      const dvdnav::ProgramChain& pgc = *vts.programchains.shared(i);
      if (!timed.insert(&pgc).second) continue;
      try {
        std::vector<dvdnav::Chapter> chapters = dvdnav::chapterList(pgc);
        // Chapters follow one another and fill the chain.
        std::int64_t at = 0;
        for (const dvdnav::Chapter& c : chapters) {
          if (c.start < at || c.length < 0) std::abort();
          at = c.start;
          out << dvdnav::ticksClock(c.start, false) << dvdnav::ticksSeconds(c.length);
        }
      } catch (const dvdnav::ChapterError&) {
      }
    }
  }
  return 0;
}
