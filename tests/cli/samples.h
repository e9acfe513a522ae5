// The bundled samples as the tool tests see them: libdvdread's facts, the
// reference index, and the pack classification used to check filtering.
#pragma once

#include <cstdint>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "support/sample_facts.h"
#include "support/scratch.h"

namespace cli_test {

inline const std::string kSamples = FENNORIA_SAMPLES_DIR;
inline const std::string kDisc = kSamples + "/dvd/VIDEO_TS";
inline const std::string kLowerDisc = kSamples + "/dvd-lower/video_ts";

using testing_support::Facts;

// What libdvdread read from a bundled disc ("dvd" or "dvd-branching").
inline Facts loadFacts(const std::string& disc = "dvd") {
  return testing_support::loadFactsFile(kSamples + "/" + disc + "/dvdread-facts.txt");
}

// The value after `name` in a "name value name value" fact.
inline std::string field(const std::string& fact, const std::string& name) {
  return testing_support::factField(fact, name);
}

inline long long number(const std::string& text) { return std::stoll(text, nullptr, 0); }

// A playback time "hh:mm:ss:ff" (BCD bytes, the top bits of ff the rate:
// 11 is 30 frames a second, anything else 25) as frames and rate.
inline void timeToFrames(const std::string& time, long long* frames, int* rate) {
  std::vector<int> bytes;
  std::istringstream in(time);
  std::string part;
  while (std::getline(in, part, ':')) bytes.push_back(std::stoi(part.substr(0, 2), nullptr, 16));
  auto bcd = [](int b) { return (b >> 4) * 10 + (b & 15); };
  *rate = (bytes.at(3) >> 6) == 3 ? 30 : 25;
  *frames = ((bcd(bytes[0]) * 60LL + bcd(bytes[1])) * 60 + bcd(bytes[2])) * *rate + bcd(bytes[3] & 0x3F);
}

// The title set's VOB files joined, as bytes.
inline std::string titleSetBytes(const std::string& disc, int titleSet) {
  std::string joined;
  for (int part = 1; part <= 9; ++part) {
    char name[32];
    std::snprintf(name, sizeof name, "/VTS_%02d_%d.VOB", titleSet, part);
    std::ifstream probe(disc + name, std::ios::binary);
    if (probe) joined += testing_support::readWholeFile(disc + name);
  }
  return joined;
}

// The stream a pack belongs to: the stream id of its first PES packet, and
// for private stream 1 0xBD00 | the substream id.
inline int packStream(const std::string& pack) {
  std::size_t pes = 14 + (static_cast<unsigned char>(pack[13]) & 7);
  int id = static_cast<unsigned char>(pack[pes + 3]);
  if (id != 0xBD) return id;
  return 0xBD00 | static_cast<unsigned char>(pack[pes + 9 + static_cast<unsigned char>(pack[pes + 8])]);
}

inline bool isAudio(int stream) {
  return (stream >= 0xC0 && stream <= 0xDF) || (stream >= 0xBD80 && stream <= 0xBD87);
}

}  // namespace cli_test
