// The DVD reader the output pin holds in DVD mode: it loads the navigation
// files of a VIDEO_TS folder, turns a title set number and a program chain
// index into the title set's joined VOB files and a sector range in them.
#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "dvdnav/ifo_records.h"
#include "input/concatenated_stream.h"

class DvdTitleReader {
 public:
  // The largest IFO image read; a longer file is parsed from its start.
  static constexpr std::int64_t ifoBufferSize = 1000000;

  // Messages go to `log`: on a mpdx::LogCallback they reach its sink with
  // their level (0 load failures, 1 selection errors, 2 the chosen range,
  // 3 dumps); on any other stream they stay there.
  explicit DvdTitleReader(std::ostream& log);
  ~DvdTitleReader();
  DvdTitleReader(const DvdTitleReader&) = delete;
  DvdTitleReader& operator=(const DvdTitleReader&) = delete;

  // Loads VIDEO_TS.IFO (or video_ts.ifo) and the title sets the Video
  // Manager's title table counts, from `folder` (no trailing separator).
  // 0 on success, 1 when no Video Manager could be read.
  int openIfo(const std::string& folder);

  // Joins the VOB files of title set `n` (0: the Video Manager's menu VOB;
  // titleVobs 0: the title set's menu VOB). Always 0.
  int selectTitleSet(std::int32_t n, std::int32_t titleVobs);
  // Selects the range of program chain `p` (0-based) of the selected title
  // set: 0 when a range was set, 1 after a message.
  int selectProgramChain(std::int32_t p);
  // Selects the range of one cell of the selected program chain.
  int selectCell(std::int32_t c);
  // As selectProgramChain, without messages on failure.
  int selectProgramChainQuiet(std::int32_t p);
  // Positions the VOB files at sector `first`; the range ends before sector
  // `endExclusive`. Always 0.
  int setSectorRange(std::int32_t first, std::int32_t endExclusive);

  bool upperCaseNames = true;
  std::unique_ptr<dvdnav::VideoManagerInfo> videoManager;
  std::vector<std::unique_ptr<dvdnav::TitleSetInfo>> titleSets;
  std::ostream& log;
  std::string folder;

  std::int32_t titleSetNumber = 0;
  std::int32_t pgcNumber = 0;
  std::int32_t cellNumber = 0;
  std::unique_ptr<ConcatenatedStream> vobStream;
  std::int32_t startBlock = 0;
  std::int32_t endBlock = 0;

 private:
  // The selected title set, or null (with a message unless `quiet`) when
  // the number names none that was loaded.
  const dvdnav::TitleSetInfo* titleSetFor(std::int32_t shownNumber, bool quiet);
  // Sets the range of the cells [first, last] of `pgc`.
  int selectCells(const dvdnav::CellPlayback& first, const dvdnav::CellPlayback& last);
  std::int64_t readIfo(const std::string& name, std::uint8_t* buffer);
  void say(int level);
};
