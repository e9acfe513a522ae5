#include "cli/disc_report.h"

#include <algorithm>
#include <cstdio>

#include "cli/cli.h"
#include "cli/disc.h"
#include "dvdnav/cell_layout.h"
#include "dvdnav/chapter_list.h"
#include "dvdnav/dvd_title_reader.h"
#include "extract/vobsub_index.h"

namespace cli {

namespace {

constexpr std::int64_t kSector = dvdnav::sectorSize;

CellReport cellReport(const dvdnav::ProgramChain& pgc, std::int32_t pgcNumber, std::int32_t cell) {
  const dvdnav::CellPlayback& c = pgc.cells[static_cast<std::size_t>(cell)];
  return {pgcNumber, cell + 1, c.startcfvobu, c.endclvobu,
          dvdnav::playbackTimeTicks(c.playbacktime.data())};
}

std::int64_t cellSectors(const CellReport& cell) {
  return std::max<std::int64_t>(static_cast<std::int64_t>(cell.lastSector) - cell.firstSector + 1, 0);
}

void fillTitle(TitleReport& report) {
  const dvdnav::DiscTitle& title = *report.title;
  const std::int32_t chapters = static_cast<std::int32_t>(title.chapters.size());
  const std::vector<std::int32_t> chains = dvdnav::chainsOf(title, 1, chapters);
  for (std::int32_t c : chains) report.chains.push_back(c + 1);
  for (const ChapterReport& chapter : titleChapters(report, 1, chapters)) {
    report.ticks += chapter.length;
    for (const CellReport& cell : chapter.cells) report.sectors += cellSectors(cell);
  }
  report.audio = dvdnav::audioTracks(*report.titleSet, chains);
  report.subtitles = dvdnav::subtitleTracks(*report.titleSet, chains);
}

void writeVideo(JsonWriter& json, const dvdnav::VideoAttributes& video) {
  int width = 0, height = 0;
  pictureSize(video.tvsystem, video.picturesize, &width, &height);
  json.object("video")
      .string("standard", videoStandard(video))
      .number("width", width)
      .number("height", height)
      .string("aspect", videoAspect(video))
      .decimal("frame_rate", video.tvsystem == 0 ? "29.97" : "25")
      .end();
}

void writeStreamId(JsonWriter& json, const char* key, std::int32_t id) {
  if (id < 0)
    json.null(key);
  else
    json.string(key, streamIdText(id));
}

void writeTracks(JsonWriter& json, const std::vector<dvdnav::AudioTrack>& audio,
                 const std::vector<dvdnav::SubtitleTrack>& subtitles,
                 const dvdnav::VideoAttributes& video) {
  json.array("audio");
  for (const auto& track : audio) {
    const auto& a = track.attributes;
    json.object()
        .number("track", track.number)
        .string("language", languageText(a.specificcode))
        .string("coding", dvdnav::audioCodingName(a.codingmode))
        .number("channels", a.channels)
        .number("sample_rate", dvdnav::audioSampleRate(a));
    if (a.codingmode == dvdnav::kCodingLpcm) json.number("bits", dvdnav::lpcmBits(a));
    json.boolean("carried", track.carried);
    writeStreamId(json, "stream_id", track.streamId);
    json.end();
  }
  json.end().array("subtitles");
  const dvdnav::SubtitleView view = dvdnav::defaultSubtitleView(video);
  for (const auto& track : subtitles) {
    json.object()
        .number("track", track.number)
        .string("language", languageText(track.attributes.specificcode))
        .boolean("carried", track.carried);
    if (!track.carried) {
      json.null("stream_id").null("stream_ids").end();
      continue;
    }
    writeStreamId(json, "stream_id", dvdnav::subtitleStreamId(track, view));
    json.object("stream_ids");
    for (int v = 0; v < dvdnav::kSubtitleViews; ++v) {
      const auto each = static_cast<dvdnav::SubtitleView>(v);
      if (!dvdnav::subtitleViewApplies(video, each)) continue;
      json.string(dvdnav::subtitleViewName(each),
                  streamIdText(dvdnav::subtitleStreamId(track, each)));
    }
    json.end().end();
  }
  json.end();
}

void writeCells(JsonWriter& json, const std::vector<CellReport>& cells) {
  json.array("cells");
  for (const CellReport& cell : cells)
    json.object()
        .number("pgc", cell.pgc)
        .number("cell", cell.cell)
        .number("first_sector", cell.firstSector)
        .number("last_sector", cell.lastSector)
        .decimal("length_seconds", dvdnav::ticksSeconds(cell.ticks))
        .end();
  json.end();
}

void writeChapters(JsonWriter& json, const std::vector<ChapterReport>& chapters) {
  json.array("chapters");
  for (const ChapterReport& chapter : chapters) {
    json.object()
        .number("chapter", chapter.chapter)
        .decimal("start_seconds", dvdnav::ticksSeconds(chapter.start))
        .decimal("length_seconds", dvdnav::ticksSeconds(chapter.length))
        .number("pgc", chapter.cells.empty() ? 0 : chapter.cells.front().pgc)
        .number("first_cell", chapter.cells.empty() ? 0 : chapter.cells.front().cell);
    writeCells(json, chapter.cells);
    json.end();
  }
  json.end();
}

void writePgc(JsonWriter& json, const dvdnav::TitleSetInfo& set, std::int32_t p) {
  const dvdnav::ProgramChain& pgc = set.programchains[static_cast<std::size_t>(p)];
  json.object()
      .number("pgc", p + 1)
      .decimal("duration_seconds", dvdnav::ticksSeconds(dvdnav::chainTicks(pgc)))
      .number("program_count", pgc.numprograms)
      .number("cell_count", static_cast<std::int64_t>(pgc.cells.size()));
  if (!pgc.cells.empty()) {
    const std::int64_t first = pgc.cells.front().startcfvobu, last = pgc.cells.back().endclvobu;
    const dvdnav::CellLayout layout = dvdnav::cellLayout(pgc);
    // An empty range (cells in reverse) counts 0, never less.
    const std::int64_t range = std::max<std::int64_t>(layout.rangeSectors, 0);
    json.number("first_sector", first)
        .number("last_sector", last)
        .number("sectors", range)
        .number("bytes", range * kSector)
        .boolean("cells_in_order", layout.inRangeOrder)
        .number("playback_sectors", layout.playbackSectors)
        .number("playback_bytes", layout.playbackSectors * kSector);
  }
  writeTracks(json, dvdnav::audioTracks(set.attributes.title, pgc),
              dvdnav::subtitleTracks(set.attributes.title, pgc), set.attributes.title.video);
  std::vector<CellReport> cells;
  for (std::size_t c = 0; c < pgc.cells.size(); ++c)
    cells.push_back(cellReport(pgc, p + 1, static_cast<std::int32_t>(c)));
  writeCells(json, cells);
  std::string problem;
  writeChapters(json, chainChapters(pgc, p + 1, &problem));
  if (!problem.empty()) json.string("chapter_problem", problem);
  json.end();
}

}  // namespace

std::string videoStandard(const dvdnav::VideoAttributes& video) {
  return video.tvsystem == 0 ? "NTSC" : video.tvsystem == 1 ? "PAL" : "unknown";
}

std::string videoAspect(const dvdnav::VideoAttributes& video) {
  return video.aspectratio == 0 ? "4:3" : video.aspectratio == 3 ? "16:9" : "unknown";
}

std::string videoSummary(const dvdnav::VideoAttributes& video) {
  int width = 0, height = 0;
  pictureSize(video.tvsystem, video.picturesize, &width, &height);
  return videoStandard(video) + " " + std::to_string(width) + "x" + std::to_string(height) + " " +
         videoAspect(video);
}

std::string streamIdText(std::int32_t id) {
  if (id < 0) return "-";
  char text[16];
  std::snprintf(text, sizeof text, "0x%02x", static_cast<unsigned>(id));
  return text;
}

std::vector<TitleReport> titleReports(const DvdTitleReader& reader) {
  std::vector<TitleReport> reports;
  const auto& titles = reader.videoManager->titles;
  for (std::size_t i = 0; i < titles.size(); ++i) {
    TitleReport report;
    report.number = static_cast<std::int32_t>(i + 1);
    report.entry = &titles[i];
    report.titleSet = reader.titleSetInfo(titles[i].vtsnumber);
    for (const auto& unusable : reader.unusableTitleSets)
      if (unusable.first == titles[i].vtsnumber) report.titleSet = nullptr;
    if (!report.titleSet) {
      report.problem = "title set " + std::to_string(titles[i].vtsnumber) + " cannot be read";
    } else {
      try {
        report.title = dvdnav::resolveTitle(*reader.videoManager, *report.titleSet, report.number);
        fillTitle(report);
      } catch (const dvdnav::TitleError& error) {
        report.problem = error.what();
      }
    }
    reports.push_back(std::move(report));
  }
  TitleReport* longest = nullptr;
  for (TitleReport& report : reports)
    if (report.title && (!longest || report.ticks > longest->ticks)) longest = &report;
  if (longest) longest->longest = true;
  return reports;
}

std::vector<ChapterReport> titleChapters(const TitleReport& title, std::int32_t first,
                                         std::int32_t last) {
  std::vector<ChapterReport> chapters;
  std::int64_t at = 0;
  for (std::int32_t c = first; c <= last; ++c) {
    const dvdnav::ChapterCells& cells = title.title->chapters[static_cast<std::size_t>(c - 1)];
    const dvdnav::ProgramChain& pgc = title.titleSet->programchains[static_cast<std::size_t>(cells.pgc)];
    ChapterReport chapter;
    chapter.chapter = c;
    chapter.start = at;
    for (std::int32_t cell = cells.firstCell; cell < cells.endCell; ++cell) {
      chapter.cells.push_back(cellReport(pgc, cells.pgc + 1, cell));
      chapter.length += chapter.cells.back().ticks;
    }
    at += chapter.length;
    chapters.push_back(std::move(chapter));
  }
  return chapters;
}

std::vector<ChapterReport> chainChapters(const dvdnav::ProgramChain& pgc, std::int32_t pgcNumber,
                                         std::string* problem) {
  std::vector<dvdnav::Chapter> programs;
  try {
    programs = dvdnav::chapterList(pgc);
  } catch (const dvdnav::ChapterError& error) {
    *problem = error.what();
    return {};
  }
  std::vector<ChapterReport> chapters;
  for (std::size_t i = 0; i < programs.size(); ++i) {
    ChapterReport chapter;
    chapter.chapter = programs[i].number;
    chapter.start = programs[i].start;
    chapter.length = programs[i].length;
    // The program's cells: up to the next program's first cell.
    const std::int32_t end = i + 1 < programs.size() ? programs[i + 1].firstCell - 1
                                                     : static_cast<std::int32_t>(pgc.cells.size());
    for (std::int32_t cell = programs[i].firstCell - 1; cell < end; ++cell)
      chapter.cells.push_back(cellReport(pgc, pgcNumber, cell));
    chapters.push_back(std::move(chapter));
  }
  return chapters;
}

void writeDiscJson(JsonWriter& json, const Disc& disc, const std::vector<TitleReport>& titles) {
  const DvdTitleReader& reader = *disc.reader;
  const auto& vmg = *reader.videoManager;
  json.object("disc").string("path", disc.folder);
  if (disc.label.empty())
    json.null("label");
  else
    json.string("label", disc.label);
  json.string("provider_id", vmg.providerid)
      .number("volumes", vmg.numvolumes)
      .number("volume", vmg.volume)
      .number("side", vmg.diskside)
      .number("title_count", static_cast<std::int64_t>(vmg.titles.size()))
      .number("title_set_count", static_cast<std::int64_t>(reader.titleSets.size()));
  auto longest = std::find_if(titles.begin(), titles.end(), [](const TitleReport& t) { return t.longest; });
  if (longest == titles.end())
    json.null("longest_title");
  else
    json.number("longest_title", longest->number);
  json.end();
}

void writeTitleJson(JsonWriter& json, const TitleReport& title, std::int32_t first,
                    std::int32_t last) {
  const dvdnav::TitleEntry& entry = *title.entry;
  json.object()
      .number("title", title.number)
      .number("title_set", entry.vtsnumber)
      .number("title_in_set", entry.vtstitlenumber)
      .number("angles", entry.numangles)
      .number("chapter_count", title.title ? static_cast<std::int64_t>(title.title->chapters.size())
                                           : entry.numparts);
  if (!title.title) {
    json.string("problem", title.problem).end();
    return;
  }
  json.array("pgcs");
  for (std::int32_t c : title.chains) json.number(nullptr, c);
  json.end()
      .decimal("duration_seconds", dvdnav::ticksSeconds(title.ticks))
      .number("sectors", title.sectors)
      .number("bytes", title.sectors * kSector)
      .boolean("longest", title.longest);
  writeVideo(json, title.titleSet->attributes.title.video);
  writeTracks(json, title.audio, title.subtitles, title.titleSet->attributes.title.video);
  writeChapters(json, titleChapters(title, first, last));
  json.end();
}

void writeTitleSetJson(JsonWriter& json, const dvdnav::TitleSetInfo& set, std::int32_t number,
                       const std::vector<std::int32_t>& chains, const std::string* unusable) {
  json.object().number("title_set", number);
  if (unusable) json.string("unusable", *unusable);
  writeVideo(json, set.attributes.title.video);
  json.array("pgcs");
  if (chains.empty()) {
    for (std::size_t p = 0; p < set.programchains.size(); ++p)
      writePgc(json, set, static_cast<std::int32_t>(p));
  } else {
    for (std::int32_t p : chains) writePgc(json, set, p);
  }
  json.end().end();
}

}  // namespace cli
