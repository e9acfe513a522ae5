// Builds IFO file images byte by byte, for the cases real discs lack.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace testing_support {

class Bytes {
 public:
  explicit Bytes(std::size_t size = 0) : data_(size, 0) {}
  void u8(std::size_t at, unsigned v) { grow(at + 1); data_[at] = static_cast<std::uint8_t>(v); }
  void u16(std::size_t at, unsigned v) { u8(at, v >> 8); u8(at + 1, v); }
  void u32(std::size_t at, std::uint32_t v) { u16(at, v >> 16); u16(at + 2, v & 0xFFFF); }
  void text(std::size_t at, const std::string& s) {
    for (std::size_t i = 0; i < s.size(); ++i) u8(at + i, static_cast<unsigned char>(s[i]));
  }
  void bytes(std::size_t at, const std::vector<std::uint8_t>& b) {
    for (std::size_t i = 0; i < b.size(); ++i) u8(at + i, b[i]);
  }
  void grow(std::size_t size) { if (data_.size() < size) data_.resize(size, 0); }
  std::size_t size() const { return data_.size(); }
  const std::vector<std::uint8_t>& data() const { return data_; }
  std::string str() const { return std::string(data_.begin(), data_.end()); }

 private:
  std::vector<std::uint8_t> data_;
};

struct CellSectors {
  std::uint32_t first;  // first VOBU start sector
  std::uint32_t last;   // last VOBU end sector
  std::uint8_t time[4] = {0, 0, 1, 0x40};  // 1 s at 25 frames/s
  std::uint8_t flags = 0;  // block mode and type, seamless and STC bits
};

// A program chain block: header, program map, cell playback and position
// tables, in that order.
inline Bytes programChain(const std::vector<CellSectors>& cells, const std::vector<unsigned>& programs,
                          const std::uint8_t time[4] = nullptr) {
  Bytes pgc(236);
  pgc.u8(2, static_cast<unsigned>(programs.size()));
  pgc.u8(3, static_cast<unsigned>(cells.size()));
  if (time)
    for (int i = 0; i < 4; ++i) pgc.u8(4 + i, time[i]);
  std::size_t at = 236;
  if (!programs.empty()) {
    pgc.u16(0xE6, static_cast<unsigned>(at));
    for (unsigned p : programs) pgc.u8(at++, p);
    at = (at + 1) & ~std::size_t{1};
  }
  if (!cells.empty()) {
    pgc.u16(0xE8, static_cast<unsigned>(at));
    for (const CellSectors& c : cells) {
      pgc.u8(at, c.flags);
      for (int i = 0; i < 4; ++i) pgc.u8(at + 4 + i, c.time[i]);
      pgc.u32(at + 8, c.first);
      pgc.u32(at + 20, c.last);
      at += 24;
    }
    pgc.u16(0xEA, static_cast<unsigned>(at));
    for (std::size_t i = 0; i < cells.size(); ++i) {
      pgc.u16(at, 1);
      pgc.u8(at + 3, static_cast<unsigned>(i + 1));
      at += 4;
    }
  }
  pgc.grow(at);
  return pgc;
}

// A Video Manager image: identifier, title table at sector 1, an empty
// first-play program chain at byte 1024.
inline Bytes videoManager(unsigned titles, unsigned numtitlesByte = 1) {
  Bytes vmg(3 * 2048);
  vmg.text(0, "DVDVIDEO-VMG");
  vmg.u8(0x3F, numtitlesByte);
  vmg.bytes(0x400, programChain({}, {}).data());
  vmg.u32(0xC4, 1);
  std::size_t table = 2048;
  vmg.u16(table, titles);
  vmg.u32(table + 4, 8 + 12 * titles - 1);
  for (unsigned t = 0; t < titles; ++t) {
    std::size_t e = table + 8 + 12 * t;
    vmg.u8(e + 1, 1);
    vmg.u16(e + 2, 1);
    vmg.u8(e + 6, t + 1);
    vmg.u8(e + 7, 1);
  }
  return vmg;
}

// A title set image with its program chain table at sector 1.
inline Bytes titleSet(const std::vector<Bytes>& chains) {
  Bytes vts(2048);
  vts.text(0, "DVDVIDEO-VTS");
  vts.u32(0xCC, 1);
  std::size_t table = 2048;
  vts.u16(table, static_cast<unsigned>(chains.size()));
  std::size_t at = 8 + 8 * chains.size();
  for (std::size_t i = 0; i < chains.size(); ++i) {
    vts.u32(table + 8 + 8 * i + 4, static_cast<std::uint32_t>(at));
    vts.bytes(table + at, chains[i].data());
    at += chains[i].size();
  }
  vts.u32(table + 4, static_cast<std::uint32_t>(at - 1));
  vts.grow(table + at);
  return vts;
}

}  // namespace testing_support

namespace testing_support {

// A program chain block whose command table holds `commands` pre-commands
// (numbered in their third operand) and whose cell table holds `cells` cells.
inline Bytes programChainWithCommands(unsigned commands, unsigned cells = 1) {
  std::vector<CellSectors> list;
  for (unsigned c = 0; c < cells; ++c) list.push_back({10 * c, 10 * c + 9});
  Bytes pgc = programChain(list, {1});
  std::size_t table = pgc.size();
  pgc.u16(0xE4, static_cast<unsigned>(table));
  pgc.u16(table, commands);
  pgc.u16(table + 6, static_cast<unsigned>(table + 8 + 8 * commands - 1));
  for (unsigned i = 0; i < commands; ++i) {
    pgc.u8(table + 8 + 8 * i, 0x20);
    pgc.u16(table + 8 + 8 * i + 6, i & 0xFFFF);
  }
  pgc.grow(table + 8 + 8 * commands);
  return pgc;
}

// A title set whose program chain table (at sector 1) has `entries` entries
// that all point at the one block `pgc`, stored once after the entries.
inline Bytes titleSetSharingOneBlock(unsigned entries, const Bytes& pgc) {
  Bytes vts(2048);
  vts.text(0, "DVDVIDEO-VTS");
  vts.u32(0xCC, 1);
  std::size_t table = 2048;
  std::size_t block = 8 + 8 * static_cast<std::size_t>(entries);
  vts.u16(table, entries);
  for (unsigned i = 0; i < entries; ++i)
    vts.u32(table + 8 + 8 * i + 4, static_cast<std::uint32_t>(block));
  vts.bytes(table + block, pgc.data());
  vts.u32(table + 4, static_cast<std::uint32_t>(block + pgc.size() - 1));
  return vts;
}

}  // namespace testing_support
