#include "dvdnav/dvd_title_reader.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "demux/stream.h"
#include "disc/disc_files.h"
#include "dvdnav/ifo_dump.h"
#include "dvdnav/ifo_parser.h"

namespace {

std::string twoDigits(std::int32_t n) {
  char text[16];
  std::snprintf(text, sizeof text, "%02d", n);
  return text;
}

}  // namespace

DvdTitleReader::DvdTitleReader(std::ostream& logStream) : log(logStream) {}

DvdTitleReader::~DvdTitleReader() = default;

void DvdTitleReader::say(int level) { mpdx::emit(log, level); }

std::int64_t DvdTitleReader::readIfo(const DiscFiles& source, const std::string& name,
                                     platform::IoBuffer& buffer) {
  std::unique_ptr<mpdx::SeekableStream> file = source.open(name);
  if (file->tell() < 0) return 0;  // no such file
  // Memory for the file's own size, not for the largest one: a disc's IFO
  // files are a few kilobytes, and filling a megabyte for each would be
  // most of the time it takes to load them. A size the system cannot tell
  // gets the whole buffer.
  std::int64_t length = file->getLength();
  std::int64_t wanted = length > 0 && length < ifoBufferSize ? length : ifoBufferSize;
  if (static_cast<std::int64_t>(buffer.size()) < wanted)
    buffer = platform::IoBuffer(static_cast<std::size_t>(wanted));
  return file->read(buffer.data(), static_cast<std::uint32_t>(wanted));
}

std::int64_t DvdTitleReader::readIfoOrBackup(const DiscFiles& source, const std::string& name,
                                             const char* identifier,
                                             platform::IoBuffer& buffer) {
  std::int64_t count = readIfo(source, name, buffer);
  if (!keepTitleSetNumbers) return count;
  const std::size_t length = std::strlen(identifier);
  auto whole = [&](std::int64_t n) {
    return n >= static_cast<std::int64_t>(length) && std::memcmp(buffer.data(), identifier, length) == 0;
  };
  if (whole(count)) return count;
  const std::string backup = name.substr(0, name.size() - 3) + (upperCaseNames ? "BUP" : "bup");
  const std::int64_t fromBackup = readIfo(source, backup, buffer);
  if (!whole(fromBackup)) return 0;
  backupsRead.push_back(backup);
  return fromBackup;
}

int DvdTitleReader::openIfo(const std::string& folderName) {
  discFiles.reset();
  return loadIfos(FolderFiles(folderName), folderName);
}

int DvdTitleReader::openIfo(std::shared_ptr<const DiscFiles> source,
                            const std::string& location) {
  discFiles.reset();
  int result = loadIfos(*source, location);
  if (result == 0) discFiles = std::move(source);
  return result;
}

int DvdTitleReader::loadIfos(const DiscFiles& source, const std::string& folderName) {
  platform::IoBuffer buffer;
  backupsRead.clear();
  unusableTitleSets.clear();
  std::int64_t count = readIfoOrBackup(source, "VIDEO_TS.IFO", "DVDVIDEO-VMG", buffer);
  if (count < 1) {
    upperCaseNames = false;
    count = readIfoOrBackup(source, "video_ts.ifo", "DVDVIDEO-VMG", buffer);
  }
  if (count < 1) {
    log << "no vmgi found";
    say(0);
    return 1;
  }
  if (count > ifoBufferSize) {
    log << "vmgi too large";
    say(0);
    return 1;
  }
  folder = folderName;

  videoManager = std::make_unique<dvdnav::VideoManagerInfo>();
  dvdnav::IfoBytes vmgBytes(buffer.data(), static_cast<std::size_t>(count));
  dvdnav::parseVideoManager(vmgBytes, *videoManager, log);
  if (dumpRecords) {
    log << "Videomanager";
    say(3);
    log << *videoManager;
    say(3);
  }

  titleSets.clear();
  titleSetNumbers.clear();
  const char* prefix = upperCaseNames ? "VTS_" : "vts_";
  const char* suffix = upperCaseNames ? "_0.IFO" : "_0.ifo";
  // The filter probes one title set per title; keeping numbers, every title
  // set the Video Manager counts is loaded, and no more.
  std::int32_t titles = static_cast<std::int32_t>(videoManager->titles.size());
  if (keepTitleSetNumbers && videoManager->numtitles > 0) titles = videoManager->numtitles;
  for (std::int32_t i = 1; i <= titles; ++i) {
    const std::string name = prefix + twoDigits(i) + suffix;
    count = readIfoOrBackup(source, name, "DVDVIDEO-VTS", buffer);
    if (count < 1 && keepTitleSetNumbers) {
      unusableTitleSets.emplace_back(i, name);
      titleSets.push_back(std::make_unique<dvdnav::TitleSetInfo>());
      titleSetNumbers.push_back(i);
      continue;
    }
    if (count < 1) continue;
    auto titleSet = std::make_unique<dvdnav::TitleSetInfo>();
    dvdnav::parseTitleSet(dvdnav::IfoBytes(buffer.data(), static_cast<std::size_t>(count)),
                          *titleSet, log);
    if (dumpRecords) {
      log << "VideoTitleSet " << i;
      say(3);
      log << *titleSet;
      say(3);
    }
    titleSets.push_back(std::move(titleSet));
    titleSetNumbers.push_back(i);
  }
  return 0;
}

int DvdTitleReader::selectTitleSet(std::int32_t n, std::int32_t titleVobs) {
  titleSetNumber = n;
  if (vobStream) {
    vobStream->closeAll();
    vobStream.reset();
  }
  std::vector<std::string> names;
  if (n == 0) {
    names.push_back(upperCaseNames ? "VIDEO_TS.VOB" : "video_ts.vob");
  } else if (n >= 1 && n <= 99) {
    std::string prefix = (upperCaseNames ? "VTS_" : "vts_") + twoDigits(n) + "_";
    const char* extension = upperCaseNames ? ".VOB" : ".vob";
    if (titleVobs == 0) {
      names.push_back(prefix + "0" + extension);
    } else {
      for (int i = 1; i <= 9; ++i) names.push_back(prefix + std::to_string(i) + extension);
    }
  }
  FolderFiles onDisk(folder);
  const DiscFiles& source = discFiles ? *discFiles : onDisk;
  vobStream = std::make_unique<ConcatenatedStream>(source, names);
  return 0;
}

int DvdTitleReader::setSectorRange(std::int32_t first, std::int32_t endExclusive) {
  playbackOrder = false;
  titleChains.clear();
  if (vobStream) vobStream->seek(static_cast<std::int64_t>(first) * dvdnav::sectorSize);
  startBlock = first;
  endBlock = endExclusive;
  return 0;
}

const dvdnav::TitleSetInfo* DvdTitleReader::titleSetFor(std::int32_t shownNumber, bool quiet) {
  std::uint32_t t = static_cast<std::uint32_t>(titleSetNumber);
  std::uint32_t n = static_cast<std::uint32_t>(titleSets.size());
  // A title set number of one past the loaded ones passes the range test
  // but names no loaded title set: it fails with the same message.
  bool outside = quiet ? (titleSetNumber < 1 || t > n) : (titleSetNumber < 0 || t > n);
  if (outside) {
    if (!quiet) {
      log << "title " << shownNumber << " does not exist.";
      say(1);
    }
    return nullptr;
  }
  if (titleSetNumber == 0) {
    log << "title 0 unknown.";
    say(1);
    return nullptr;
  }
  return titleSets[t - 1].get();
}

int DvdTitleReader::selectCells(const dvdnav::CellPlayback& first,
                                const dvdnav::CellPlayback& last) {
  log << "startblock " << first.startcfvobu << ", endblock " << last.endclvobu;
  say(2);
  // The exclusive end of a last sector of 0x7FFFFFFF has no 32-bit value:
  // the range then ends at the largest one, the end of anything a title set
  // can hold, rather than wrapping round to a negative "no end".
  std::int64_t end = static_cast<std::int64_t>(last.endclvobu) + 1;
  if (end > INT32_MAX) end = INT32_MAX;
  return setSectorRange(first.startcfvobu, static_cast<std::int32_t>(end));
}

const dvdnav::ProgramChain* DvdTitleReader::chainFor(std::int32_t p) {
  const dvdnav::TitleSetInfo* titleSet = titleSetFor(p, false);
  if (!titleSet) return nullptr;
  if (p < 0 || static_cast<std::size_t>(p) >= titleSet->programchains.size()) {
    log << "pgc " << pgcNumber << " does not exist.";
    say(1);
    return nullptr;
  }
  const dvdnav::ProgramChain& pgc = titleSet->programchains[static_cast<std::size_t>(p)];
  if (pgc.cells.empty()) {
    log << "pgc " << pgcNumber << " has no cells.";
    say(1);
    return nullptr;
  }
  return &pgc;
}

int DvdTitleReader::selectProgramChain(std::int32_t p) {
  pgcNumber = p;
  const dvdnav::ProgramChain* pgc = chainFor(p);
  if (!pgc) return 1;
  return selectCells(pgc->cells.front(), pgc->cells.back());
}

std::string DvdTitleReader::chainName() const {
  return "program chain " + std::to_string(pgcNumber + 1) + " of title set " +
         std::to_string(titleSetNumber);
}

int DvdTitleReader::appendCells(const dvdnav::ProgramChain& pgc, std::int32_t firstCell,
                                std::int32_t endCell, std::vector<CellSequence::Span>& spans) {
  for (std::int32_t i = firstCell; i < endCell; ++i) {
    const dvdnav::CellPlayback& cell = pgc.cells[static_cast<std::size_t>(i)];
    // The cells of an angle block are alternatives, not a sequence.
    if (cell.blockmode != 0 && cell.blocktype == 1) {
      log << chainName() << ": cell " << i + 1
          << " belongs to an angle block (multi-angle chains are not supported)";
      say(1);
      return 1;
    }
    if (cell.endclvobu < cell.startcfvobu || cell.startcfvobu < 0) {
      log << chainName() << ": cell " << i + 1 << " ends (sector " << cell.endclvobu
          << ") before it starts (sector " << cell.startcfvobu << ")";
      say(1);
      return 1;
    }
    spans.push_back({cell.startcfvobu, static_cast<std::int64_t>(cell.endclvobu) + 1});
    log << "cell " << i + 1 << ": startblock " << cell.startcfvobu << ", endblock "
        << cell.endclvobu;
    say(2);
  }
  return 0;
}

int DvdTitleReader::selectPlaybackOrder(std::int32_t p) {
  pgcNumber = p;
  // Until a chain is accepted the selection is empty, never a stale range.
  playbackOrder = true;
  cellOrder.assign({});
  titleChains.clear();
  const dvdnav::ProgramChain* pgc = chainFor(p);
  if (!pgc) return 1;
  std::vector<CellSequence::Span> spans;
  if (appendCells(*pgc, 0, static_cast<std::int32_t>(pgc->cells.size()), spans) != 0) return 1;
  selectSpans(std::move(spans));
  return 0;
}

void DvdTitleReader::selectSpans(std::vector<CellSequence::Span> spans) {
  playbackOrder = true;
  const std::int64_t first = spans.empty() ? 0 : spans.front().first;
  cellOrder.assign(std::move(spans));
  if (vobStream) vobStream->seek(first * dvdnav::sectorSize);
}

int DvdTitleReader::selectProgramChainQuiet(std::int32_t p) {
  pgcNumber = p;
  const dvdnav::TitleSetInfo* titleSet = titleSetFor(p, true);
  if (!titleSet || p < 0 || static_cast<std::size_t>(p) >= titleSet->programchains.size())
    return 1;
  const dvdnav::ProgramChain& pgc = titleSet->programchains[static_cast<std::size_t>(p)];
  if (pgc.cells.empty()) return 1;
  return selectCells(pgc.cells.front(), pgc.cells.back());
}

int DvdTitleReader::selectCell(std::int32_t c) {
  cellNumber = c;
  const dvdnav::TitleSetInfo* titleSet = titleSetFor(titleSetNumber, false);
  if (!titleSet) return 1;
  std::int32_t p = pgcNumber;
  if (p < 0 || static_cast<std::size_t>(p) >= titleSet->programchains.size()) {
    log << "pgcnum " << p << " does not exist.";
    say(1);
    return 1;
  }
  const dvdnav::ProgramChain& pgc = titleSet->programchains[static_cast<std::size_t>(p)];
  if (c < 0 || static_cast<std::size_t>(c) >= pgc.cells.size()) {
    log << "cellnum " << c << " does not exist.";
    say(1);
    return 1;
  }
  const dvdnav::CellPlayback& cell = pgc.cells[static_cast<std::size_t>(c)];
  return selectCells(cell, cell);
}
