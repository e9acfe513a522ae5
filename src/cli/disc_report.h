// What 'fennoria info' and 'fennoria chapters' tell about a disc: its titles
// (duration, chapters, chains, size, video, tracks), their chapters and
// cells, and the title sets' program chains, gathered once and written as a
// table or as the JSON document docs/disc-json.md describes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/json_writer.h"
#include "dvdnav/disc_title.h"
#include "dvdnav/stream_tracks.h"

class DvdTitleReader;

namespace cli {

struct Disc;

// One cell as a chapter plays it.
struct CellReport {
  std::int32_t pgc = 0, cell = 0;  // from 1
  std::int32_t firstSector = 0, lastSector = 0;
  std::int64_t ticks = 0;
};

struct ChapterReport {
  std::int32_t chapter = 0;        // from 1
  std::int64_t start = 0, length = 0;  // 90 kHz ticks from the start of what is listed
  std::vector<CellReport> cells;
};

struct TitleReport {
  std::int32_t number = 0;
  const dvdnav::TitleEntry* entry = nullptr;
  const dvdnav::TitleSetInfo* titleSet = nullptr;  // null when it was not loaded
  std::optional<dvdnav::DiscTitle> title;          // empty when it cannot be played
  std::string problem;                             // why not
  std::int64_t ticks = 0;
  std::int64_t sectors = 0;
  std::vector<std::int32_t> chains;  // from 1, in the order they play
  std::vector<dvdnav::AudioTrack> audio;
  std::vector<dvdnav::SubtitleTrack> subtitles;
  bool longest = false;
};

// Every title of the disc, the longest (the first of equals) marked.
std::vector<TitleReport> titleReports(const DvdTitleReader& reader);

// Chapters `first` to `last` (from 1) of a playable title, timed from the
// start of chapter `first`.
std::vector<ChapterReport> titleChapters(const TitleReport& title, std::int32_t first,
                                         std::int32_t last);

// One chapter per program of a chain (numbered as its programs), timed
// from the chain's start; empty with `problem` set when they cannot be
// timed.
std::vector<ChapterReport> chainChapters(const dvdnav::ProgramChain& pgc, std::int32_t pgcNumber,
                                         std::string* problem);

// "PAL 720x576 16:9", and the parts of it.
std::string videoStandard(const dvdnav::VideoAttributes& video);
std::string videoAspect(const dvdnav::VideoAttributes& video);
std::string videoSummary(const dvdnav::VideoAttributes& video);
// "0x81", or "-" for none.
std::string streamIdText(std::int32_t id);

// The JSON document's parts (docs/disc-json.md, docs/disc.schema.json).
void writeDiscJson(JsonWriter& json, const Disc& disc, const std::vector<TitleReport>& titles);
// A title with its tracks and chapters `first` to `last`.
void writeTitleJson(JsonWriter& json, const TitleReport& title, std::int32_t first,
                    std::int32_t last);
// A title set with its program chains `chains` (from 0; all when empty);
// `unusable`, when given, says why neither its IFO nor its backup could be
// read (it then has no chains).
void writeTitleSetJson(JsonWriter& json, const dvdnav::TitleSetInfo& set, std::int32_t number,
                       const std::vector<std::int32_t>& chains,
                       const std::string* unusable = nullptr);

}  // namespace cli
