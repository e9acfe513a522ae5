// The title reader's selection of a disc title: the title table entry, its
// title set, its chapters' cells in chapter order, read by the reading half
// as a cell sequence (the same kind of selection as a chain in playback
// order), so every reader of the title reader gets titles and chapter cuts.
#include <algorithm>

#include "dvdnav/disc_title.h"
#include "dvdnav/dvd_title_reader.h"
#include "dvdnav/stream_tracks.h"

namespace {

std::string titleRange(std::size_t count) {
  return count == 1 ? "title 1" : "titles 1-" + std::to_string(count);
}

}  // namespace

const dvdnav::TitleSetInfo* DvdTitleReader::titleSetInfo(std::int32_t number) const {
  for (std::size_t i = 0; i < titleSetNumbers.size() && i < titleSets.size(); ++i)
    if (titleSetNumbers[i] == number) return titleSets[i].get();
  return nullptr;
}

int DvdTitleReader::selectTitle(std::int32_t number, std::int32_t firstChapter,
                                std::int32_t lastChapter) {
  // Until a title is accepted the selection is empty, never a stale range.
  playbackOrder = true;
  cellOrder.assign({});
  try {
    if (!videoManager) throw dvdnav::TitleError("no navigation files are loaded");
    const dvdnav::TitleEntry* entry = dvdnav::titleEntry(*videoManager, number);
    if (!entry)
      throw dvdnav::TitleError(dvdnav::titleName(number) + " does not exist (the disc has " +
                               titleRange(videoManager->titles.size()) + ")");
    const dvdnav::TitleSetInfo* set = titleSetInfo(entry->vtsnumber);
    if (!set)
      throw dvdnav::TitleError(dvdnav::titleName(number) + " is in title set " +
                               std::to_string(entry->vtsnumber) + ", which was not loaded");
    const dvdnav::DiscTitle title = dvdnav::resolveTitle(*videoManager, *set, number);
    const std::int32_t chapters = static_cast<std::int32_t>(title.chapters.size());
    const std::int32_t first = firstChapter == 0 ? 1 : firstChapter;
    const std::int32_t last = lastChapter == 0 ? chapters : lastChapter;
    if (first < 1 || last > chapters || first > last)
      throw dvdnav::TitleError(dvdnav::titleName(number) + " has chapters 1-" +
                               std::to_string(chapters) + ", not " + std::to_string(first) +
                               "-" + std::to_string(last));

    selectTitleSet(title.titleSet, 1);
    playbackOrder = true;
    std::vector<CellSequence::Span> spans;
    for (std::int32_t c = first; c <= last; ++c) {
      const dvdnav::ChapterCells& cells = title.chapters[static_cast<std::size_t>(c - 1)];
      pgcNumber = cells.pgc;
      const dvdnav::ProgramChain& pgc = set->programchains[static_cast<std::size_t>(cells.pgc)];
      if (appendCells(pgc, cells.firstCell, cells.endCell, spans) != 0) {
        cellOrder.assign({});
        return 1;
      }
    }
    pgcNumber = title.chapters[static_cast<std::size_t>(first - 1)].pgc;
    selectSpans(std::move(spans));
    titleChains = dvdnav::chainsOf(title, first, last);
    return 0;
  } catch (const dvdnav::TitleError& error) {
    log << error.what();
    say(1);
    return 1;
  }
}

int DvdTitleReader::selectAudioTrack(std::int32_t number) {
  // The selected title's chains, or the one chain of a chain selection.
  const dvdnav::TitleSetInfo* set = nullptr;
  std::vector<std::int32_t> chains = titleChains;
  if (!chains.empty()) {
    set = titleSetInfo(titleSetNumber);
  } else if (titleSetNumber >= 1 && static_cast<std::size_t>(titleSetNumber) <= titleSets.size()) {
    set = titleSets[static_cast<std::size_t>(titleSetNumber - 1)].get();
    chains.push_back(pgcNumber);
  }
  if (!set) {
    log << "audio track " << number << ": no title or program chain is selected";
    say(1);
    return 1;
  }
  const std::vector<dvdnav::AudioTrack> tracks = dvdnav::audioTracks(*set, chains);
  const dvdnav::AudioTrack* track =
      number >= 1 && static_cast<std::size_t>(number) <= tracks.size()
          ? &tracks[static_cast<std::size_t>(number - 1)]
          : nullptr;
  if (!track || !track->carried || track->streamId < 0) {
    log << "audio track " << number << " is not played here (the tracks: "
        << dvdnav::trackList(tracks) << ")";
    say(1);
    return 1;
  }
  switch (track->attributes.codingmode) {
    case dvdnav::kCodingAc3: setAudio(0, track->stream); break;
    case dvdnav::kCodingMpeg1:
    case dvdnav::kCodingMpeg2Ext: setAudio(2, track->stream); break;
    default: setAudio(kAudioOneSubstream, track->streamId); break;
  }
  audioSelect = number - 1;
  return 0;
}
