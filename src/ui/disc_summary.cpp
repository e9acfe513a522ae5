#include "ui/disc_summary.h"

#include <cmath>
#include <cstdio>

#include "demux/stream.h"
#include "dvdnav/chapter_list.h"
#include "dvdnav/dvd_title_reader.h"
#include "dvdnav/open_navigation.h"

namespace {

// The title reader's last load failure (level 0), for the page's line. A
// log sink carries no context of its own, and a page reads its disc on its
// own thread, so each thread keeps its last message.
thread_local std::string lastLoadMessage;

void keepLoadMessage(int level, const char* text) {
  if (level == 0) lastLoadMessage = text;
}

std::string languageOf(const std::array<char, 2>& code) {
  std::string text;
  for (char c : code)
    if (c >= 0x20 && c < 0x7F) text += c;
  return text;
}

std::int32_t chapterCount(const dvdnav::ProgramChain& pgc) {
  try {
    return static_cast<std::int32_t>(dvdnav::chapterList(pgc).size());
  } catch (const dvdnav::ChapterError&) {
    return 0;
  }
}

ChainSummary summariseChain(const dvdnav::ProgramChain& pgc) {
  ChainSummary chain;
  chain.frames = pgc.numframes;
  chain.frameRate = pgc.framerate;
  chain.chapters = chapterCount(pgc);
  for (std::size_t i = 0; i < chain.audioNumbers.size(); ++i)
    if (pgc.audiocontrol[i].present) chain.audioNumbers[i] = (pgc.audiocontrol[i].value >> 8) & 7;
  return chain;
}

TitleSetSummary summariseTitleSet(const dvdnav::TitleSetInfo& vts) {
  TitleSetSummary set;
  for (const dvdnav::ProgramChain& pgc : vts.programchains)
    set.chains.push_back(summariseChain(pgc));
  for (const dvdnav::AudioAttributes& audio : vts.attributes.title.audio)
    set.audio.push_back({audio.codingmode, audio.channels, languageOf(audio.specificcode)});
  return set;
}

// The one line for a disc whose navigation files did not load.
std::string loadProblem(const NavigationLoad& load) {
  if (!load.problem.empty()) return load.location + ": " + load.problem;
  std::string where = load.location.empty() ? std::string("the current folder") : load.location;
  return where + ": no readable VIDEO_TS.IFO" +
         (lastLoadMessage.empty() ? std::string() : " (" + lastLoadMessage + ")");
}

}  // namespace

DiscSummary summariseDisc(const std::string& file) {
  DiscSummary disc;
  lastLoadMessage.clear();
  mpdx::LogCallback log(keepLoadMessage);
  DvdTitleReader reader(log);
  NavigationLoad load = loadNavigation(reader, file, folderOf(file));
  disc.location = load.location;
  if (!load.loaded) {
    disc.problem = loadProblem(load);
    return disc;
  }
  if (!reader.videoManager || reader.videoManager->titles.empty()) {
    disc.problem = load.location + ": VIDEO_TS.IFO lists no titles";
    return disc;
  }
  for (const auto& vts : reader.titleSets) disc.titleSets.push_back(summariseTitleSet(*vts));
  disc.readable = true;
  return disc;
}

std::string audioCodingName(std::int32_t coding) {
  switch (coding) {
    case 0:
      return "AC-3";
    case 2:
      return "MPEG-1";
    case 3:
      return "MPEG-2 ext.";
    case 4:
      return "LPCM";
    case 6:
      return "DTS";
    default:
      return "unknown";
  }
}

bool audioCanBeKeptAlone(std::int32_t coding) { return coding == 0 || coding == 2 || coding == 3; }

std::string durationText(std::int32_t frames, std::int32_t frameRate) {
  const double seconds = frameRate > 0 ? static_cast<double>(frames) / frameRate : 0.0;
  const long long ms = std::llround(seconds * 1000.0);
  char text[32];
  std::snprintf(text, sizeof text, "%lld:%02lld:%02lld.%03lld", ms / 3600000, ms / 60000 % 60,
                ms / 1000 % 60, ms % 1000);
  return text;
}
