#include "cli/selection.h"

#include <cctype>

#include "cli/disc.h"
#include "cli/disc_report.h"
#include "dvdnav/disc_title.h"
#include "dvdnav/dvd_title_reader.h"

namespace cli {

namespace {

// A number the disc does not have: bad usage, with the disc named.
[[noreturn]] void outOfRange(const Disc& disc, const std::string& what) {
  throw Failure(kExitUsage, "fennoria: " + disc.folder + ": " + what);
}

// "title 1" or "titles 1-3".
std::string numbers(std::size_t count, const std::string& one) {
  if (count == 0) return "no " + one + "s";
  return count == 1 ? one + " 1" : one + "s 1-" + std::to_string(count);
}

void parseChapters(const Args& args, Selection& s) {
  const std::string& text = args.value("--chapters");
  const std::size_t dash = text.find('-');
  std::int64_t first = 0, last = 0;
  bool good = dash == std::string::npos
                  ? parseNumber(text, &first) && (last = first, true)
                  : parseNumber(text.substr(0, dash), &first) &&
                        parseNumber(text.substr(dash + 1), &last);
  if (!good || first < 1 || last > 999 || first > last)
    usage(args.command, "--chapters takes A or A-B, chapter numbers from 1 with A <= B, not '" +
                            text + "'");
  s.firstChapter = static_cast<std::int32_t>(first);
  s.lastChapter = static_cast<std::int32_t>(last);
}

void checkTitle(const Disc& disc, const Selection& s) {
  const DvdTitleReader& reader = *disc.reader;
  const std::size_t titles = reader.videoManager->titles.size();
  if (s.title < 1 || static_cast<std::size_t>(s.title) > titles)
    outOfRange(disc, dvdnav::titleName(s.title) + " does not exist (the disc has " +
                         numbers(titles, "title") + ")");
  const dvdnav::TitleEntry& entry = reader.videoManager->titles[static_cast<std::size_t>(s.title - 1)];
  if (const std::string* why = disc.unusable(entry.vtsnumber))
    fail(disc.folder, dvdnav::titleName(s.title) + " is in title set " +
                          std::to_string(entry.vtsnumber) + ", which cannot be used: " + *why);
  const dvdnav::TitleSetInfo* set = reader.titleSetInfo(entry.vtsnumber);
  if (!set)
    fail(disc.folder, dvdnav::titleName(s.title) + " is in title set " +
                          std::to_string(entry.vtsnumber) + ", which cannot be read");
  std::size_t chapters = 0;
  try {
    chapters = dvdnav::resolveTitle(*reader.videoManager, *set, s.title).chapters.size();
  } catch (const dvdnav::TitleError& error) {
    fail(disc.folder, error.what());
  }
  if (s.lastChapter > static_cast<std::int32_t>(chapters))
    outOfRange(disc, dvdnav::titleName(s.title) + " has " + numbers(chapters, "chapter") +
                         ", not " + std::to_string(s.firstChapter) +
                         (s.firstChapter == s.lastChapter ? "" : "-" + std::to_string(s.lastChapter)));
}

void checkChain(const Disc& disc, const Selection& s) {
  const DvdTitleReader& reader = *disc.reader;
  const std::size_t sets = reader.titleSets.size();
  if (s.titleSet < 1 || static_cast<std::size_t>(s.titleSet) > sets)
    outOfRange(disc, "title set " + std::to_string(s.titleSet) + " does not exist (the disc has " +
                         numbers(sets, "title set") + ")");
  if (const std::string* why = disc.unusable(s.titleSet))
    fail(disc.folder, "title set " + std::to_string(s.titleSet) + " cannot be used: " + *why);
  const auto& chains = reader.titleSets[static_cast<std::size_t>(s.titleSet - 1)]->programchains;
  const std::string inSet = " of title set " + std::to_string(s.titleSet);
  if (s.pgc < 1 || static_cast<std::size_t>(s.pgc) > chains.size())
    outOfRange(disc, "program chain " + std::to_string(s.pgc) + " does not exist in title set " +
                         std::to_string(s.titleSet) + " (it has " +
                         numbers(chains.size(), "program chain") + ")");
  const std::size_t cells = chains[static_cast<std::size_t>(s.pgc - 1)].cells.size();
  if (cells == 0) fail(disc.folder, "program chain " + std::to_string(s.pgc) + inSet + " has no cells");
  if (s.cell != 0 && static_cast<std::size_t>(s.cell) > cells)
    outOfRange(disc, "cell " + std::to_string(s.cell) + " does not exist in program chain " +
                         std::to_string(s.pgc) + inSet + " (it has " + numbers(cells, "cell") + ")");
}

std::string languageOf(const std::array<char, 2>& code) {
  std::string text;
  for (char c : code)
    if (c > 0x20 && c < 0x7F) text += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

bool isLanguage(const std::string& text) {
  return text.size() == 2 && std::isalpha(static_cast<unsigned char>(text[0])) &&
         std::isalpha(static_cast<unsigned char>(text[1]));
}

template <typename Track>
const Track& findTrack(const std::vector<Track>& tracks, const std::string& text,
                       const SelectionTracks& selection, const std::string& kind) {
  const std::string& where = selection.where;
  const std::string there = " (its " + kind + " tracks: " + dvdnav::trackList(tracks) + ")";
  if (isLanguage(text)) {
    std::string wanted;
    for (char c : text) wanted += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    for (const Track& track : tracks)
      if (track.carried && languageOf(track.attributes.specificcode) == wanted) return track;
    fail(selection.disc, where + " has no " + kind + " track in '" + text + "'" + there);
  }
  std::int64_t number = 0;
  if (!parseNumber(text, &number) || number < 1)
    throw Failure(kExitUsage, "fennoria: " + kind + " track '" + text +
                                  "': give a track number from 1 or a two-letter language");
  if (static_cast<std::size_t>(number) > tracks.size())
    throw Failure(kExitUsage, "fennoria: " + selection.disc + ": " + where + " has " + numbers(tracks.size(), kind + " track") +
                                  ", not " + text);
  const Track& track = tracks[static_cast<std::size_t>(number - 1)];
  if (!track.carried) fail(selection.disc, where + " does not play " + kind + " track " + text + there);
  return track;
}

}  // namespace

std::vector<OptionDef> selectionOptions() {
  return {{"--title", "-t", true, false},     {"--chapters", nullptr, true, false},
          {"--titleset", "-T", true, false},  {"--pgc", "-p", true, false},
          {"--cell", "-c", true, false},      {"--range", nullptr, false, false},
          {"--playback-order", nullptr, false, false}};
}

Selection parseSelection(const Args& args, bool required) {
  Selection s;
  const std::string& command = args.command;
  const bool chain = args.has("--titleset") || args.has("--pgc") || args.has("--cell") ||
                     args.has("--range") || args.has("--playback-order");
  if (args.has("--title") && chain)
    usage(command, "--title T is the disc's title number (1-99, as players count them); for a "
                   "program chain give --titleset N --pgc P instead, not both");
  if (args.has("--chapters") && !args.has("--title")) usage(command, "--chapters needs --title T");
  if (args.has("--range") && args.has("--playback-order"))
    usage(command, "give --range or --playback-order, not both");
  if (args.has("--title")) {
    s.title = args.number("--title", 1, 99, 0);
    if (args.has("--chapters")) parseChapters(args, s);
    return s;
  }
  if (chain && (!args.has("--titleset") || !args.has("--pgc")))
    usage(command, "a program chain needs both --titleset N and --pgc P (or give --title T "
                   "for a disc title)");
  if (!chain) {
    if (required) usage(command, "missing --title T (or --titleset N --pgc P)");
    return s;
  }
  s.titleSet = args.number("--titleset", 1, 99, 0);
  s.pgc = args.number("--pgc", 1, 9999, 0);
  s.cell = args.number("--cell", 1, 9999, 0);
  s.range = args.has("--range");
  return s;
}

void checkNumbers(const Disc& disc, const Selection& s) {
  if (s.title != 0)
    checkTitle(disc, s);
  else
    checkChain(disc, s);
}

void select(Disc& disc, const Selection& s) {
  checkNumbers(disc, s);
  if (s.title != 0)
    disc.selectTitle(s.title, s.firstChapter, s.lastChapter);
  else
    disc.select(s.titleSet, s.pgc, s.cell, s.range);
}

SelectionTracks selectionTracks(const Disc& disc, const Selection& s) {
  const DvdTitleReader& reader = *disc.reader;
  SelectionTracks tracks;
  tracks.disc = disc.folder;
  const dvdnav::TitleSetInfo* set = nullptr;
  std::vector<std::int32_t> chains;
  if (s.title != 0) {
    set = reader.titleSetInfo(reader.titleSetNumber);
    chains = reader.titleChains;
    tracks.where = dvdnav::titleName(s.title);
  } else {
    set = reader.titleSets[static_cast<std::size_t>(s.titleSet - 1)].get();
    chains.push_back(s.pgc - 1);
    tracks.where = "program chain " + std::to_string(s.pgc) + " of title set " +
                   std::to_string(s.titleSet);
  }
  if (!set) return tracks;
  tracks.audio = dvdnav::audioTracks(*set, chains);
  tracks.subtitles = dvdnav::subtitleTracks(*set, chains);
  tracks.video = set->attributes.title.video;
  return tracks;
}

const dvdnav::AudioTrack& findAudioTrack(const SelectionTracks& tracks, const std::string& text) {
  const dvdnav::AudioTrack& track = findTrack(tracks.audio, text, tracks, "audio");
  if (track.streamId < 0)
    fail(tracks.disc, tracks.where + ": audio track " + std::to_string(track.number) + " is coded as '" +
                 dvdnav::audioCodingName(track.attributes.codingmode) +
                 "', which has no stream to keep");
  return track;
}

const dvdnav::SubtitleTrack& findSubtitleTrack(const SelectionTracks& tracks,
                                               const std::string& text) {
  return findTrack(tracks.subtitles, text, tracks, "subtitle");
}

void requireStream(const SelectionTracks& tracks, std::int32_t streamId, const std::string& option) {
  const bool subpicture = streamId >= 0x20 && streamId <= 0x3F;
  if (subpicture) {
    for (const dvdnav::SubtitleTrack& track : tracks.subtitles)
      for (std::int32_t stream : track.streams)
        if (track.carried && stream >= 0 && 0x20 + stream == streamId) return;
  } else {
    for (const dvdnav::AudioTrack& track : tracks.audio)
      if (track.carried && track.streamId == streamId) return;
  }
  const std::string kind = subpicture ? "subtitle" : "audio";
  const std::string list =
      subpicture ? dvdnav::trackList(tracks.subtitles) : dvdnav::trackList(tracks.audio);
  fail(tracks.disc, tracks.where + " does not play the stream " + option + " chooses (" +
                        streamIdText(streamId) + "); its " + kind + " tracks: " +
                        (list.empty() ? "none" : list) + " (--" + kind +
                        " chooses one by number or language)");
}

dvdnav::SubtitleView subtitleView(const Args& args, const SelectionTracks& tracks) {
  if (!args.has("--subtitle-view")) return dvdnav::defaultSubtitleView(tracks.video);
  const std::string& name = args.value("--subtitle-view");
  for (int v = 0; v < dvdnav::kSubtitleViews; ++v) {
    const auto view = static_cast<dvdnav::SubtitleView>(v);
    if (name == dvdnav::subtitleViewName(view)) return view;
  }
  usage(args.command, "--subtitle-view takes 4:3, wide, letterbox or pan-scan, not '" + name + "'");
}

}  // namespace cli
