// What the Settings page shows of the disc DVD mode would read: its title
// sets, each with its program chains (duration, chapter count) and its audio
// streams (coding, channels, language), or one line saying why there is
// none. Read with the engine's own title reader, as the pin loads it.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

struct AudioSummary {
  std::int32_t coding = 0;  // the IFO's coding mode: 0 AC-3, 2 MPEG-1, 3 MPEG-2 ext., 4 LPCM, 6 DTS
  std::int32_t channels = 0;
  std::string language;  // the two letters, or empty
};

struct ChainSummary {
  std::int32_t frames = 0;     // the chain's playback time in frames
  std::int32_t frameRate = 0;  // frames a second (25 or 30)
  std::int32_t chapters = 0;   // one per program; 0 when they cannot be timed
  // For each audio stream of the title set, the stream number the chain
  // plays it as (the chain's audio control when it gives one, else the
  // stream's own place): the AC-3 substream 0x80+n or MPEG stream 0xC0+n.
  std::array<std::int32_t, 8> audioNumbers = {0, 1, 2, 3, 4, 5, 6, 7};
};

struct TitleSetSummary {
  std::vector<ChainSummary> chains;
  std::vector<AudioSummary> audio;
};

struct DiscSummary {
  bool readable = false;
  // The folder or image the navigation files were read from.
  std::string location;
  // Why there is no disc, in one line, when not readable.
  std::string problem;
  // Title set n is titleSets[n - 1].
  std::vector<TitleSetSummary> titleSets;
};

// The disc behind `file`, the list's current file: the disc image it is, or
// the VIDEO_TS folder that holds it.
DiscSummary summariseDisc(const std::string& file);

// The coding as users name it: "AC-3", "MPEG-1", "MPEG-2 ext.", "LPCM",
// "DTS" or "unknown".
std::string audioCodingName(std::int32_t coding);
// Whether the filter can deliver the stream as the only audio: an AC-3 or an
// MPEG stream (LPCM and DTS packs pass whatever is chosen).
bool audioCanBeKeptAlone(std::int32_t coding);
// A duration of `frames` at `frameRate` as "H:MM:SS.mmm", to the nearest
// millisecond.
std::string durationText(std::int32_t frames, std::int32_t frameRate);
