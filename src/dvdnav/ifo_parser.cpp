#include "dvdnav/ifo_parser.h"

#include <cstring>
#include <memory>
#include <optional>
#include <unordered_map>

#include "demux/stream.h"

namespace dvdnav {

namespace {

// The largest fixed part of a program chain block (up to the offsets of its
// sub-tables).
constexpr std::int64_t kProgramChainHeaderSize = 236;
// Size of one record of the title set attribute table.
constexpr std::int64_t kTitleSetAttributeRecordSize = 0x308;

std::int32_t bcd(std::uint8_t byte) { return (byte >> 4) * 10 + (byte & 0x0F); }

void note(std::ostream& log, const char* table, const char* what, std::int64_t offset,
          const IfoBytes& bytes) {
  log << table << ": " << what << " at byte " << offset << " of " << bytes.size();
  mpdx::emit(log, 0);
}

// The records that a file can make the reader decode over and over: the
// parts of program chain blocks (any number of table entries may point into
// the same bytes) and attribute sets (the title set attribute records may
// each claim streams that run on through the rest of the file). A file of N
// bytes holds at most N / size distinct records of a kind, and the tables of
// a disc never overlap, so a real file decodes no more than that. A hostile
// one may overlap its tables without end; past twice what the file can hold,
// records of that kind are no longer decoded. (A block's program map holds
// at most 127 entries, so bounding the blocks bounds the maps as well.)
enum Kind { kBlocks, kCommands, kCells, kCellPositions, kAudio, kSubpictures, kKindCount };
constexpr std::int64_t kKindSize[kKindCount] = {kProgramChainHeaderSize, 8, 24, 4, 8, 6};
constexpr const char* kKindName[kKindCount] = {
    "program chain blocks", "commands",         "cell playback entries",
    "cell positions",       "audio attributes", "sub-picture attributes"};
constexpr std::int64_t kOverlapAllowance = 2;

// The decoding of one file: the allowance left for each kind of record, and
// the program chain blocks decoded so far, by their byte offset, so that
// entries pointing at the same block share one record.
class Decoder {
 public:
  Decoder(const IfoBytes& fileBytes, std::ostream& logStream) : bytes(fileBytes), log(logStream) {
    for (int k = 0; k < kKindCount; ++k)
      left_[k] = kOverlapAllowance * static_cast<std::int64_t>(bytes.size()) / kKindSize[k];
  }

  // Whether one more record of `kind` may be decoded; the first refusal of a
  // kind leaves a note naming the table.
  bool take(Kind kind, const char* table, std::int64_t offset) {
    if (left_[kind] > 0) {
      --left_[kind];
      return true;
    }
    if (!refused_[kind]) {
      refused_[kind] = true;
      log << table << ": more " << kKindName[kind] << " than the file can hold, cut at byte "
          << offset << " of " << bytes.size();
      mpdx::emit(log, 0);
    }
    return false;
  }

  std::shared_ptr<const ProgramChain> programChain(std::int64_t offset, const char* table);

  const IfoBytes& bytes;
  std::ostream& log;

 private:
  std::int64_t left_[kKindCount] = {};
  bool refused_[kKindCount] = {};
  std::unordered_map<std::int64_t, std::shared_ptr<const ProgramChain>> blocks_;
  std::shared_ptr<const ProgramChain> empty_;
};

bool blockMayBeDecoded(Decoder& decoder, std::int64_t offset, const char* table);
void decodeBlock(Decoder& decoder, std::int64_t offset, ProgramChain& pgc, const char* table);

std::shared_ptr<const ProgramChain> Decoder::programChain(std::int64_t offset, const char* table) {
  auto found = blocks_.find(offset);
  if (found != blocks_.end()) return found->second;
  // A block that cannot be decoded is not remembered: its entries all share
  // the one empty record, and no memory is spent on it.
  if (!blockMayBeDecoded(*this, offset, table)) {
    if (!empty_) empty_ = std::make_shared<const ProgramChain>();
    return empty_;
  }
  auto pgc = std::make_shared<ProgramChain>();
  decodeBlock(*this, offset, *pgc, table);
  std::shared_ptr<const ProgramChain> shared = std::move(pgc);
  blocks_.emplace(offset, shared);
  return shared;
}

// The byte offset of the table whose sector number is stored at `field`;
// none when the table is absent (sector 0) or starts outside the file.
std::optional<std::int64_t> tableStart(const IfoBytes& bytes, std::int64_t field,
                                       std::ostream& log, const char* table,
                                       std::int64_t headerSize) {
  std::int64_t sector = bytes.u32(field);
  if (sector == 0) return std::nullopt;
  std::int64_t start = sector * sectorSize;
  if (!bytes.contains(start, headerSize)) {
    note(log, table, "table lies outside the file, skipped", start, bytes);
    return std::nullopt;
  }
  return start;
}

// Whether an entry of `length` bytes at `offset` lies in the file; when not,
// the table is cut there with a note.
bool entryFits(const IfoBytes& bytes, std::int64_t offset, std::int64_t length, std::ostream& log,
               const char* table) {
  if (bytes.contains(offset, length)) return true;
  note(log, table, "table runs past the end of the file, cut", offset, bytes);
  return false;
}

void parseCellAddresses(const IfoBytes& bytes, std::int64_t field, std::vector<CellAddress>& out,
                        std::ostream& log, const char* table) {
  const std::optional<std::int64_t> found = tableStart(bytes, field, log, table, 8);
  if (!found) return;
  const std::int64_t start = *found;
  std::int64_t end = start + bytes.u32(start + 4);
  for (std::int64_t at = start + 8; at < end; at += 12) {
    if (!entryFits(bytes, at, 12, log, table)) break;
    CellAddress cell;
    cell.vobid = static_cast<std::int32_t>(bytes.u16(at));
    cell.cellid = static_cast<std::int32_t>(bytes.u8(at + 2));
    cell.start = static_cast<std::int32_t>(bytes.u32(at + 4));
    cell.end = static_cast<std::int32_t>(bytes.u32(at + 8));
    out.push_back(cell);
  }
}

void parseVobuAddresses(const IfoBytes& bytes, std::int64_t field, std::vector<std::int32_t>& out,
                        std::ostream& log, const char* table) {
  const std::optional<std::int64_t> found = tableStart(bytes, field, log, table, 4);
  if (!found) return;
  const std::int64_t start = *found;
  std::int64_t end = start + bytes.u32(start);
  for (std::int64_t at = start + 4; at < end; at += 4) {
    if (!entryFits(bytes, at, 4, log, table)) break;
    out.push_back(static_cast<std::int32_t>(bytes.u32(at)));
  }
}

// The language units are walked one after the other from the byte after the
// unit list; their own offsets are not followed.
void parseMenuUnits(Decoder& decoder, std::int64_t field, std::vector<MenuLanguageUnit>& out,
                    const char* table) {
  const IfoBytes& bytes = decoder.bytes;
  std::ostream& log = decoder.log;
  const std::optional<std::int64_t> found = tableStart(bytes, field, log, table, 8);
  if (!found) return;
  const std::int64_t start = *found;
  std::int64_t units = bytes.u16(start);
  std::int64_t unit = start + 8 + 8 * units;
  for (std::int64_t u = 0; u < units; ++u) {
    if (!entryFits(bytes, unit, 8, log, table)) break;
    MenuLanguageUnit parsed;
    std::int64_t chains = bytes.u16(unit);
    for (std::int64_t c = 0; c < chains; ++c) {
      std::int64_t entry = unit + 8 + 8 * c;
      if (!entryFits(bytes, entry, 8, log, table)) break;
      parsed.programchains.push_back(decoder.programChain(unit + bytes.u32(entry + 4), table));
    }
    out.push_back(std::move(parsed));
    unit += 8 + 8 * chains;
  }
}

template <typename T, std::size_t N, typename Decode>
void decodeEntries(Decoder& decoder, Kind kind, std::int64_t first, std::int64_t count,
                   std::vector<T>& out, const char* table, Decode decode) {
  for (std::int64_t i = 0; i < count; ++i) {
    std::int64_t at = first + static_cast<std::int64_t>(N) * i;
    if (!entryFits(decoder.bytes, at, N, decoder.log, table)) break;
    if (!decoder.take(kind, table, at)) break;
    out.push_back(decode(decoder.bytes.pointer(at)));
  }
}

AttributeSet decodeAttributes(Decoder& decoder, std::int64_t offset, const char* table) {
  const IfoBytes& bytes = decoder.bytes;
  AttributeSet set;
  set.video = decodeVideoAttributes(static_cast<std::uint8_t>(bytes.u8(offset)),
                                    static_cast<std::uint8_t>(bytes.u8(offset + 1)));
  decodeEntries<AudioAttributes, 8>(decoder, kAudio, offset + 4, bytes.u16(offset + 2), set.audio,
                                    table, decodeAudioAttributes);
  decodeEntries<SubpictureAttributes, 6>(decoder, kSubpictures, offset + 0x56,
                                         bytes.u16(offset + 0x54), set.subpictures, table,
                                         decodeSubpictureAttributes);
  return set;
}

// Each title's list runs from its own offset to the end of the whole table,
// so it also holds the entries of every title after it. Lists whose offsets
// differ by a multiple of the entry size are tails of one run of entries:
// the run is decoded once, from the lowest such offset, and each title keeps
// its place in it.
void parsePartsOfTitles(const IfoBytes& bytes, std::vector<PartOfTitleList>& out,
                        std::ostream& log) {
  const char* parts = "VTS_PTT_SRPT";
  const std::optional<std::int64_t> found = tableStart(bytes, 0xC8, log, parts, 8);
  if (!found) return;
  const std::int64_t start = *found;
  std::int64_t titles = bytes.u16(start);
  std::int64_t end = start + bytes.u32(start + 4);
  std::vector<std::int64_t> offsets;
  for (std::int64_t t = 0; t < titles; ++t) {
    if (!entryFits(bytes, start + 8 + 4 * t, 4, log, parts)) break;
    offsets.push_back(start + bytes.u32(start + 8 + 4 * t));
  }
  std::int64_t lowest[4] = {-1, -1, -1, -1};
  for (std::int64_t offset : offsets) {
    std::int64_t& low = lowest[offset % 4];
    if (offset < end && (low < 0 || offset < low)) low = offset;
  }
  std::shared_ptr<const std::vector<PartOfTitle>> runs[4];
  for (int r = 0; r < 4; ++r) {
    if (lowest[r] < 0) continue;
    auto run = std::make_shared<std::vector<PartOfTitle>>();
    for (std::int64_t at = lowest[r]; at < end; at += 4) {
      if (!entryFits(bytes, at, 4, log, parts)) break;
      run->push_back({static_cast<std::int32_t>(bytes.u16(at)),
                      static_cast<std::int32_t>(bytes.u16(at + 2))});
    }
    runs[r] = std::move(run);
  }
  for (std::int64_t offset : offsets) {
    std::int64_t r = offset % 4;
    if (offset >= end || !runs[r]) {
      out.emplace_back();
      continue;
    }
    out.emplace_back(runs[r], static_cast<std::size_t>((offset - lowest[r]) / 4));
  }
}

}  // namespace

std::int32_t playbackFrameRate(std::uint8_t frameByte) {
  return (frameByte & 0xC0) < 0xC0 ? 25 : 30;
}

std::int32_t playbackTimeToFrames(const std::uint8_t time[4]) {
  std::int32_t rate = playbackFrameRate(time[3]);
  std::int32_t frames = ((time[3] & 0x30) >> 4) * 10 + (time[3] & 0x0F);
  return (bcd(time[0]) * 3600 + bcd(time[1]) * 60 + bcd(time[2])) * rate + frames;
}

VideoAttributes decodeVideoAttributes(std::uint8_t byte0, std::uint8_t byte1) {
  VideoAttributes video;
  video.videocompressionmode = (byte0 >> 6) & 3;
  video.tvsystem = (byte0 >> 4) & 3;
  video.displaymode = byte0 & 3;
  video.aspectratio = (byte0 >> 2) & 3;
  video.picturesize = (byte1 >> 2) & 3;
  return video;
}

AudioAttributes decodeAudioAttributes(const std::uint8_t field[8]) {
  AudioAttributes audio;
  audio.codingmode = (field[0] >> 5) & 7;
  audio.quant = (field[1] >> 6) & 3;
  audio.samplingcode = (field[1] >> 4) & 3;
  audio.type = (field[0] >> 2) & 3;
  audio.channels = (field[1] & 7) + 1;
  audio.specificcode = {static_cast<char>(field[2]), static_cast<char>(field[3])};
  audio.ext = field[5];
  return audio;
}

SubpictureAttributes decodeSubpictureAttributes(const std::uint8_t field[6]) {
  SubpictureAttributes sub;
  sub.mode = (field[0] >> 5) & 7;
  sub.type = field[0] & 3;
  sub.specificcode = {static_cast<char>(field[2]), static_cast<char>(field[3])};
  sub.ext = field[5];
  return sub;
}

NavCommand decodeNavCommand(const std::uint8_t field[8]) {
  NavCommand command;
  command.cmdtype = (field[0] >> 5) & 7;
  command.direct = (field[0] >> 4) & 1;
  command.set = field[0] & 0x0F;
  command.dirCmp = (field[1] >> 7) & 1;
  command.cmp = (field[1] >> 4) & 7;
  command.cmd = field[1] & 0x0F;
  command.op1 = (field[2] << 8) | field[3];
  command.op2 = (field[4] << 8) | field[5];
  command.op3 = (field[6] << 8) | field[7];
  return command;
}

CellPlayback decodeCellPlayback(const std::uint8_t field[24]) {
  IfoBytes bytes(field, 24);
  CellPlayback cell;
  cell.blockmode = field[0] >> 6;
  cell.blocktype = (field[0] >> 4) & 3;
  cell.seamlessplayback = (field[0] >> 3) & 1;
  cell.stcdiscontinuity = (field[0] >> 1) & 1;
  cell.seamlessanglechange = field[0] & 1;
  cell.stilltime = field[2];
  cell.commandnumber = field[3];
  cell.numframes = playbackTimeToFrames(field + 4);
  cell.framerate = playbackFrameRate(field[7]);
  for (int i = 0; i < 4; ++i) cell.playbacktime[static_cast<std::size_t>(i)] = field[4 + i];
  cell.startcfvobu = static_cast<std::int32_t>(bytes.u32(8));
  cell.endcfilvu = static_cast<std::int32_t>(bytes.u32(12));
  cell.startclvobu = static_cast<std::int32_t>(bytes.u32(16));
  cell.endclvobu = static_cast<std::int32_t>(bytes.u32(20));
  return cell;
}

AttributeSet decodeAttributeSet(const IfoBytes& bytes, std::int64_t offset, std::ostream& log,
                                const char* table) {
  Decoder decoder(bytes, log);
  return decodeAttributes(decoder, offset, table);
}

void parseProgramChain(const IfoBytes& bytes, std::int64_t offset, ProgramChain& pgc,
                       std::ostream& log, const char* table) {
  Decoder decoder(bytes, log);
  if (blockMayBeDecoded(decoder, offset, table)) decodeBlock(decoder, offset, pgc, table);
}

namespace {

// Whether the block at `offset` has its header in the file and the
// allowance for blocks is not spent; a block that fails is left empty.
bool blockMayBeDecoded(Decoder& decoder, std::int64_t offset, const char* table) {
  if (!decoder.bytes.contains(offset, kProgramChainHeaderSize)) {
    note(decoder.log, table, "program chain lies outside the file, left empty", offset,
         decoder.bytes);
    return false;
  }
  return decoder.take(kBlocks, table, offset);
}

void decodeBlock(Decoder& decoder, std::int64_t offset, ProgramChain& pgc, const char* table) {
  const IfoBytes& bytes = decoder.bytes;
  std::ostream& log = decoder.log;
  const std::uint8_t* block = bytes.pointer(offset);
  pgc.numprograms = block[2] & 0x7F;
  pgc.numcells = block[3];
  pgc.numframes = playbackTimeToFrames(block + 4);
  pgc.framerate = playbackFrameRate(block[7]);
  pgc.useroperationcontrol = ((block[8] & 1) << 24) | (block[9] << 16) | (block[10] << 8) | block[11];
  for (std::size_t i = 0; i < pgc.audiocontrol.size(); ++i) {
    const std::uint8_t* entry = block + 12 + 2 * i;
    pgc.audiocontrol[i] = {(entry[0] & 0x80) != 0, (entry[0] << 8) | entry[1]};
  }
  for (std::size_t i = 0; i < pgc.subpicturecontrol.size(); ++i) {
    const std::uint8_t* entry = block + 28 + 4 * i;
    SubpictureControl& control = pgc.subpicturecontrol[i];
    control.present = (entry[0] & 0x80) != 0;
    if (control.present)
      for (int k = 0; k < 4; ++k) control.streams[static_cast<std::size_t>(k)] = entry[k] & 0x1F;
  }
  pgc.nextpgcn = ((block[0x9C] << 8) | block[0x9D]) & 0x7FFF;
  pgc.prevpgcn = ((block[0x9E] << 8) | block[0x9F]) & 0x7FFF;
  pgc.gouppgcn = (block[0xA0] << 8) | block[0xA1];
  for (std::size_t i = 0; i < pgc.palette.size(); ++i) {
    const std::uint8_t* entry = block + 164 + 4 * i;
    pgc.palette[i] = {entry[1], entry[2], entry[3]};
  }
  pgc.hascmdt = (block[0xE4] << 8) | block[0xE5];
  pgc.haspgmap = (block[0xE6] << 8) | block[0xE7];
  pgc.hascpbit = (block[0xE8] << 8) | block[0xE9];
  pgc.hascposit = (block[0xEA] << 8) | block[0xEB];

  if (pgc.hascmdt) {
    std::int64_t commands = offset + pgc.hascmdt;
    std::int64_t pre = bytes.u16(commands), post = bytes.u16(commands + 2),
                 cell = bytes.u16(commands + 4);
    std::int64_t at = commands + 8;
    decodeEntries<NavCommand, 8>(decoder, kCommands, at, pre, pgc.precommands, table,
                                 decodeNavCommand);
    at += 8 * pre;
    decodeEntries<NavCommand, 8>(decoder, kCommands, at, post, pgc.postcommands, table,
                                 decodeNavCommand);
    at += 8 * post;
    decodeEntries<NavCommand, 8>(decoder, kCommands, at, cell, pgc.cellcommands, table,
                                 decodeNavCommand);
  }
  if (pgc.haspgmap) {
    std::int64_t map = offset + pgc.haspgmap;
    for (std::int32_t i = 0; i < pgc.numprograms; ++i) {
      if (!entryFits(bytes, map + i, 1, log, table)) break;
      pgc.programmap.push_back(static_cast<std::int32_t>(bytes.u8(map + i)));
    }
    if (!pgc.programmap.empty()) pgc.numentrycell = pgc.programmap.front();
  }
  if (pgc.hascpbit)
    decodeEntries<CellPlayback, 24>(decoder, kCells, offset + pgc.hascpbit, pgc.numcells,
                                    pgc.cells, table, decodeCellPlayback);
  if (pgc.hascposit)
    decodeEntries<CellPosition, 4>(decoder, kCellPositions, offset + pgc.hascposit, pgc.numcells,
                                   pgc.cellpositions, table, [](const std::uint8_t* entry) {
                                     return CellPosition{(entry[0] << 8) | entry[1], entry[3]};
                                   });
}

}  // namespace

void parseVideoManager(const IfoBytes& bytes, VideoManagerInfo& vmg, std::ostream& log) {
  if (!bytes.contains(0, 12) || std::memcmp(bytes.pointer(0), "DVDVIDEO-VMG", 12) != 0) return;
  Decoder decoder(bytes, log);

  vmg.version = static_cast<std::int32_t>(bytes.u8(0x21));
  vmg.region = static_cast<std::int32_t>(bytes.u8(0x23));
  vmg.numvolumes = static_cast<std::int32_t>(bytes.u16(0x26));
  vmg.volume = static_cast<std::int32_t>(bytes.u16(0x28));
  vmg.diskside = static_cast<std::int32_t>(bytes.u8(0x2A) & 3);
  vmg.numtitles = static_cast<std::int32_t>(bytes.u8(0x3F) & 0x3F);
  for (std::int64_t i = 0; i < 32 && bytes.u8(0x40 + i) != 0; ++i)
    vmg.providerid.push_back(static_cast<char>(bytes.u8(0x40 + i)));
  vmg.attributes = decodeAttributes(decoder, 0x100, "VMGM attributes");
  // The first-play program chain always sits at byte 1024 of the file.
  vmg.firstplay = *decoder.programChain(0x400, "first-play PGC");

  const char* titles = "TT_SRPT";
  if (const std::optional<std::int64_t> start = tableStart(bytes, 0xC4, log, titles, 8)) {
    std::int64_t count = bytes.u16(*start);
    for (std::int64_t i = 0; i < count; ++i) {
      std::int64_t at = *start + 8 + 12 * i;
      if (!entryFits(bytes, at, 12, log, titles)) break;
      vmg.titles.push_back({static_cast<std::int32_t>(bytes.u8(at)),
                            static_cast<std::int32_t>(bytes.u8(at + 1)),
                            static_cast<std::int32_t>(bytes.u16(at + 2)),
                            static_cast<std::int32_t>(bytes.u16(at + 4)),
                            static_cast<std::int32_t>(bytes.u8(at + 6)),
                            static_cast<std::int32_t>(bytes.u8(at + 7)),
                            static_cast<std::int32_t>(bytes.u32(at + 8))});
    }
  }

  parseMenuUnits(decoder, 0xC8, vmg.menuunits, "VMGM_PGCI_UT");

  // The attribute records are read one after the other from the end of the
  // offset list; the offsets themselves are not followed.
  const char* attributes = "VTS_ATRT";
  if (const std::optional<std::int64_t> start = tableStart(bytes, 0xD0, log, attributes, 8)) {
    std::int64_t sets = bytes.u8(*start + 1) & 0x3F;
    std::int64_t record = *start + 8 + 4 * sets;
    for (std::int64_t i = 0; i < sets; ++i, record += kTitleSetAttributeRecordSize) {
      if (!entryFits(bytes, record, kTitleSetAttributeRecordSize, log, attributes)) break;
      AttributeSetPair pair;
      pair.menu = decodeAttributes(decoder, record + 8, attributes);
      pair.title = decodeAttributes(decoder, record + 0x108, attributes);
      vmg.titlesetattributes.push_back(std::move(pair));
    }
  }

  parseCellAddresses(bytes, 0xD8, vmg.menucelladdresses, log, "VMGM_C_ADT");
  parseVobuAddresses(bytes, 0xDC, vmg.menuvobuaddresses, log, "VMGM_VOBU_ADMAP");
}

void parseTitleSet(const IfoBytes& bytes, TitleSetInfo& vts, std::ostream& log) {
  if (!bytes.contains(0, 12) || std::memcmp(bytes.pointer(0), "DVDVIDEO-VTS", 12) != 0) return;
  Decoder decoder(bytes, log);

  vts.version = static_cast<std::int32_t>(bytes.u8(0x21));
  vts.applicationtype = static_cast<std::int32_t>(bytes.u8(0x25) & 0x0F);
  vts.startvstsmvobs = static_cast<std::int32_t>(bytes.u32(0xC0));
  vts.startvststvobs = static_cast<std::int32_t>(bytes.u32(0xC4));
  vts.attributes.menu = decodeAttributes(decoder, 0x100, "VTSM attributes");
  vts.attributes.title = decodeAttributes(decoder, 0x200, "VTS attributes");

  parsePartsOfTitles(bytes, vts.parts, log);

  const char* chains = "VTS_PGCIT";
  if (const std::optional<std::int64_t> start = tableStart(bytes, 0xCC, log, chains, 8)) {
    std::int64_t count = bytes.u16(*start);
    for (std::int64_t i = 0; i < count; ++i) {
      std::int64_t entry = *start + 8 + 8 * i;
      if (!entryFits(bytes, entry, 8, log, chains)) break;
      vts.programchains.push_back(decoder.programChain(*start + bytes.u32(entry + 4), chains));
    }
  }

  parseMenuUnits(decoder, 0xD0, vts.menuunits, "VTSM_PGCI_UT");
  parseCellAddresses(bytes, 0xD8, vts.menucelladdresses, log, "VTSM_C_ADT");
  parseVobuAddresses(bytes, 0xDC, vts.menuvobuaddresses, log, "VTSM_VOBU_ADMAP");
  parseCellAddresses(bytes, 0xE0, vts.celladdresses, log, "VTS_C_ADT");
  parseVobuAddresses(bytes, 0xE4, vts.vobuaddresses, log, "VTS_VOBU_ADMAP");
}

}  // namespace dvdnav
