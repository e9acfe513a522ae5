// What of a disc the tool reads, as its command lines say it: a disc title
// as players number them (--title T [--chapters A[-B]]), or a program chain
// of a title set (--titleset N --pgc P [--cell C] [--range]), and the audio
// and subtitle tracks of that selection by number or language.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cli/args.h"
#include "dvdnav/stream_tracks.h"

namespace cli {

struct Disc;

struct Selection {
  std::int32_t title = 0;  // disc title 1-99; 0 when a chain is chosen
  std::int32_t firstChapter = 0, lastChapter = 0;  // 0: from the first, to the last
  std::int32_t titleSet = 0, pgc = 0, cell = 0;    // from 1; 0 when not given
  bool range = false;  // the chain's first-to-last sector range, not its cells
  bool given() const { return title != 0 || titleSet != 0; }
};

// The selection options, for a subcommand's option table: --title/-t,
// --chapters, --titleset/-T, --pgc/-p, --cell/-c, --range and
// --playback-order (the default for a chain, accepted as before).
std::vector<OptionDef> selectionOptions();

// The selection a command line gives. Usage errors: --title with a chain
// option (naming the options to use instead), a chain option without
// --titleset and --pgc, --chapters without --title, a malformed number or
// range; with `required`, neither --title nor --titleset.
Selection parseSelection(const Args& args, bool required);

// Checks the selection's numbers against `disc`: a number it does not have
// ends the run with status 2, naming the numbers there are; a title that
// cannot be played, with status 1.
void checkNumbers(const Disc& disc, const Selection& selection);
// Checks the numbers, then selects the selection on the disc's reader;
// faults of the disc end the run with status 1.
void select(Disc& disc, const Selection& selection);

// The selection's audio and subtitle tracks: those of the title's chains,
// or of the one chain; `where` names the selection in messages.
struct SelectionTracks {
  std::vector<dvdnav::AudioTrack> audio;
  std::vector<dvdnav::SubtitleTrack> subtitles;
  dvdnav::VideoAttributes video;
  std::string where;  // "title 3", "program chain 2 of title set 1"
  std::string disc;   // the disc's folder, which messages name first
};
SelectionTracks selectionTracks(const Disc& disc, const Selection& selection);

// The track `text` names, a number from 1 or a two-letter language (the
// first track in it). A number beyond the title set's tracks is a usage
// error (status 2); a track the selection does not play, or a language none
// of its tracks is in, a fault of the disc (status 1); both name the tracks
// there are.
const dvdnav::AudioTrack& findAudioTrack(const SelectionTracks& tracks, const std::string& text);
const dvdnav::SubtitleTrack& findSubtitleTrack(const SelectionTracks& tracks,
                                               const std::string& text);

// Ends the run (status 1) when the selection plays no track as pack stream
// `streamId` (0x80+n AC-3, 0x88+n DTS, 0xA0+n LPCM, 0xC0+n MPEG audio,
// 0x20+n subpicture), the stream `option` ("--ac3 7") chooses by its id:
// such a run would write a title without that audio, or an empty file. The
// message names the tracks there are.
void requireStream(const SelectionTracks& tracks, std::int32_t streamId, const std::string& option);

// The view --subtitle-view names (4:3, wide, letterbox, pan-scan), or the
// one that fits the selection's aspect when the option is absent.
dvdnav::SubtitleView subtitleView(const Args& args, const SelectionTracks& tracks);

}  // namespace cli
