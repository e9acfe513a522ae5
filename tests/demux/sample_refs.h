// The sample disc's demultiplexing references (tools/make-demux-references,
// committed under samples/dvd/refs): each program chain's sector range in
// the joined VOB files, its streams, and for each stream ffmpeg's payload
// and ffprobe's PES packets (size, PTS, DTS).
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "support/scratch.h"

namespace demux_test {

inline const std::string kSamples = FENNORIA_SAMPLES_DIR;

struct RefStream {
  std::string id;   // as ffprobe names it: 0x80, 0x1c1, 0x20
  std::string ext;  // ac3, mp2, sub
  unsigned number() const { return static_cast<unsigned>(std::stoul(id, nullptr, 16)); }
};

struct Range {
  std::string key;
  std::int64_t first = 0, last = 0;  // sectors, inclusive
  std::vector<std::string> vobs;
  std::vector<RefStream> streams;
};

inline std::vector<Range> loadIndex() {
  std::ifstream in(kSamples + "/dvd/refs/index.txt");
  std::vector<Range> ranges;
  std::string line;
  while (std::getline(in, line)) {
    std::istringstream fields(line);
    std::string kind, key;
    fields >> kind >> key;
    if (kind == "range") {
      Range r;
      r.key = key;
      std::string files;
      fields >> r.first >> r.last >> files;
      std::istringstream names(files);
      for (std::string name; std::getline(names, name, ',');) r.vobs.push_back(name);
      ranges.push_back(r);
    } else if (kind == "stream" && !ranges.empty() && ranges.back().key == key) {
      RefStream s;
      fields >> s.id >> s.ext;
      ranges.back().streams.push_back(s);
    }
  }
  return ranges;
}

// The range's bytes, cut from the joined VOB files at its sector offsets.
inline std::string rangeBytes(const Range& r) {
  std::string joined;
  for (const auto& vob : r.vobs) joined += testing_support::readWholeFile(kSamples + "/dvd/VIDEO_TS/" + vob);
  std::size_t from = static_cast<std::size_t>(r.first) * 2048;
  std::size_t count = static_cast<std::size_t>(r.last - r.first + 1) * 2048;
  EXPECT_LE(from + count, joined.size()) << r.key;
  return joined.substr(from, count);
}

inline std::string refName(const Range& r, const RefStream& s, const std::string& ext) {
  return kSamples + "/dvd/refs/" + r.key + "." + s.id + "." + ext;
}

struct PesPacket {
  std::int64_t size = 0;
  std::string pts, dts;  // as ffprobe prints them, N/A when absent
};

inline std::vector<PesPacket> loadPackets(const std::string& name) {
  std::ifstream in(name);
  std::vector<PesPacket> packets;
  PesPacket p;
  while (in >> p.size >> p.pts >> p.dts) packets.push_back(p);
  return packets;
}

}  // namespace demux_test
