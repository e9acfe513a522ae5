// The DVD reader the output pin holds in DVD mode. Its navigation half loads
// the navigation files of a VIDEO_TS folder and turns a title set number and
// a program chain index into the title set's joined VOB files and a sector
// range in them; its reading half (src/input/dvd_title_range.cpp) reads that
// range, optionally dropping the packs of the audio streams not chosen.
#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "dvdnav/ifo_records.h"
#include "input/cell_sequence.h"
#include "input/concatenated_stream.h"
#include "platform/io_buffer.h"

class DiscFiles;

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
  // The same for the files of a disc image (or any other DiscFiles), which
  // the title sets' VOB files then come from too; `location` names them in
  // messages and becomes `folder`.
  int openIfo(std::shared_ptr<const DiscFiles> source, const std::string& location);

  // Joins the VOB files of title set `n` (0: the Video Manager's menu VOB;
  // titleVobs 0: the title set's menu VOB). Always 0.
  int selectTitleSet(std::int32_t n, std::int32_t titleVobs);
  // Selects the range of program chain `p` (0-based) of the selected title
  // set: 0 when a range was set, 1 after a message.
  int selectProgramChain(std::int32_t p);
  // Selects the range of one cell of the selected program chain.
  int selectCell(std::int32_t c);
  // Selects program chain `p` as a player plays it: its cells one after
  // another, each with its own sectors only (see CellSequence). 0 when
  // selected; 1 after a message, leaving an empty selection, when the chain
  // does not exist, has no cells, or has a cell in an angle block or one
  // that ends before it starts.
  int selectPlaybackOrder(std::int32_t p);
  // Selects disc title `number` (1-99, the Video Manager's title table) as a
  // player plays it: the cells of its chapters `firstChapter` to
  // `lastChapter` (from 1; 0 for the first, or the last, chapter), in
  // chapter order and across the title's program chains, each cell its own
  // sectors only (see dvdnav/disc_title.h). Also selects the title's title
  // set. 0 when selected; 1 after a message, leaving an empty selection,
  // when the title or a chapter does not exist or cannot be played (a cell
  // in an angle block or one that ends before it starts).
  int selectTitle(std::int32_t number, std::int32_t firstChapter, std::int32_t lastChapter);
  // The loaded title set numbered `number` (VTS_nn_0.IFO), or null.
  const dvdnav::TitleSetInfo* titleSetInfo(std::int32_t number) const;
  // As selectProgramChain, without messages on failure.
  int selectProgramChainQuiet(std::int32_t p);
  // Positions the VOB files at sector `first`; the range ends before sector
  // `endExclusive`; ends a playback-order selection. Always 0.
  int setSectorRange(std::int32_t first, std::int32_t endExclusive);

  // The reading half. Positions and lengths are bytes of the selected range.
  bool isEnd();
  std::int32_t readRange(void* buffer, std::int32_t count);
  std::int64_t getRangeLength() const;
  std::int64_t getRangePosition() const;
  std::int64_t seekRange(std::int64_t position);
  // Reads `count` bytes of the range, dropping the packs that checkPacks
  // refuses; a partly used sector is held back for the next call. Returns
  // `count`, also when the range ended first.
  std::int32_t readFiltered(void* buffer, std::int32_t count);
  // Whether every one of the sectors passes the audio filter; rewrites the
  // stream id of the chosen MPEG audio stream to 0xC0 on the way.
  bool checkPacks(std::uint8_t* sectors, std::int32_t sectorCount) const;
  // Every reader of whole sectors (the filtered read, random-access reads,
  // the tool) goes through the two calls below, so that the range is read
  // and the audio choice applied in one place.
  // Reads `count` bytes of the range, asking again while the files give
  // some; the count read, short when they gave out.
  std::int32_t readSectors(std::uint8_t* buffer, std::int32_t count);
  // What becomes of a sector that the audio choice refuses: left out, with
  // the sectors after it moved up, or replaced by a padding pack, so that
  // byte positions stay those of the range.
  enum class Refused { Dropped, Padded };
  // Applies the audio choice (none while audioSelect is negative) to
  // `sectorCount` sectors in place; the number of sectors that remain.
  std::int32_t filterSectors(std::uint8_t* sectors, std::int32_t sectorCount,
                             Refused refused) const;
  // Chooses the audio to keep: `mode` 0 one AC-3 substream, 1 every MPEG
  // audio stream (no AC-3), 2 one MPEG audio stream; `stream` its number.
  // Mode kAudioOneSubstream keeps one audio substream of private stream 1
  // (a DTS or LPCM track), `stream` its whole id (0x88, 0xA1), and drops
  // every other audio pack, AC-3, DTS, LPCM or MPEG.
  void setAudio(std::int32_t mode, std::int32_t stream);
  static constexpr std::int32_t kAudioOneSubstream = 3;
  // Keeps audio track `number` (from 1, the title set's logical stream) of
  // the selection and drops the other audio packs: the stream the track
  // plays in the selected title's chains (or the selected program chain).
  // 0 when chosen; 1 after a message naming the tracks there are when the
  // selection's chains do not all carry it, or carry it as different
  // streams, or its coding has no stream to keep.
  int selectAudioTrack(std::int32_t number);
  // The version of this reader's interface, which the filter checks.
  static constexpr std::int32_t libraryVersion = 2000;
  std::int32_t getLibraryVersion() const { return libraryVersion; }

  // Beyond the filter's loading, for the tool: an IFO file that cannot be
  // read, or is not what its name says, is read from its .BUP copy, and a
  // title set that neither copy gives keeps its place as an empty record,
  // so that title set numbers stay those of the disc. Off by default.
  bool keepTitleSetNumbers = false;
  // With keepTitleSetNumbers, what the last load made do with: the files
  // read from their backup instead, and the title sets (1-based) neither
  // copy gave, with the name of their IFO.
  std::vector<std::string> backupsRead;
  std::vector<std::pair<std::int32_t, std::string>> unusableTitleSets;

  bool upperCaseNames = true;
  // Whether openIfo writes each loaded file's text dump to the log at level
  // 3, as the filter's debug log shows it. The tool clears it unless it
  // prints the dump: composing the text is a good part of a load's time.
  bool dumpRecords = true;
  std::unique_ptr<dvdnav::VideoManagerInfo> videoManager;
  std::vector<std::unique_ptr<dvdnav::TitleSetInfo>> titleSets;
  // The number of each loaded title set, entry by entry: a missing file
  // moves the later title sets down in `titleSets`, not in these numbers.
  std::vector<std::int32_t> titleSetNumbers;
  std::ostream& log;
  std::string folder;
  // Where the files come from when not from `folder` on disk.
  std::shared_ptr<const DiscFiles> discFiles;

  std::int32_t titleSetNumber = 0;
  std::int32_t pgcNumber = 0;
  std::int32_t cellNumber = 0;
  std::unique_ptr<ConcatenatedStream> vobStream;
  std::int32_t startBlock = 0;
  std::int32_t endBlock = 0;
  // Set by selectPlaybackOrder, cleared by the range selections: the
  // reading half then reads `cellOrder` instead of [startBlock, endBlock).
  bool playbackOrder = false;
  CellSequence cellOrder;
  // The chains (from 0) of the selected title's chapters, in the order they
  // play; empty unless a title is selected.
  std::vector<std::int32_t> titleChains;

  std::int32_t carryCount = 0;
  platform::IoBuffer carryBuffer{dvdnav::sectorSize};
  std::int32_t audioSelect = -1;  // negative: read unfiltered
  std::int32_t audioMode = -1;
  std::int32_t audioStream = -1;

 private:
  // The selected title set, or null (with a message unless `quiet`) when
  // the number names none that was loaded.
  const dvdnav::TitleSetInfo* titleSetFor(std::int32_t shownNumber, bool quiet);
  // The chain `p` of the selected title set, or null after a message.
  const dvdnav::ProgramChain* chainFor(std::int32_t p);
  // "program chain P of title set T", counted from 1, for messages.
  std::string chainName() const;
  // Appends the spans of cells [firstCell, endCell) of `pgc`, the chain
  // `pgcNumber` names; 1 after a message for a cell in an angle block or
  // one that ends before it starts.
  int appendCells(const dvdnav::ProgramChain& pgc, std::int32_t firstCell, std::int32_t endCell,
                  std::vector<CellSequence::Span>& spans);
  // Selects `spans` of the selected title set's VOBs for the reading half,
  // from the first one's start.
  void selectSpans(std::vector<CellSequence::Span> spans);
  // Sets the range of the cells [first, last] of `pgc`.
  int selectCells(const dvdnav::CellPlayback& first, const dvdnav::CellPlayback& last);
  int loadIfos(const DiscFiles& source, const std::string& location);
  // Reads IFO file `name` (at most ifoBufferSize bytes of it) into
  // `buffer`, which grows to the file's size when it is smaller; the bytes
  // read, 0 when the file is missing or empty.
  std::int64_t readIfo(const DiscFiles& source, const std::string& name,
                       platform::IoBuffer& buffer);
  // readIfo, and with keepTitleSetNumbers the .BUP copy when the IFO gives
  // nothing or lacks `identifier`.
  std::int64_t readIfoOrBackup(const DiscFiles& source, const std::string& name,
                               const char* identifier, platform::IoBuffer& buffer);
  void say(int level);
};
