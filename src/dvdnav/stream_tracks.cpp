#include "dvdnav/stream_tracks.h"

#include <algorithm>

namespace dvdnav {

namespace {

// Logical streams beyond these have no control entry.
constexpr std::size_t kAudioControls = 8;
constexpr std::size_t kSubpictureControls = 32;

}  // namespace

std::int32_t audioStreamId(std::int32_t codingmode, std::int32_t stream) {
  switch (codingmode) {
    case kCodingAc3: return 0x80 + (stream & 7);
    case kCodingDts: return 0x88 + (stream & 7);
    case kCodingLpcm: return 0xA0 + (stream & 7);
    case kCodingMpeg1:
    case kCodingMpeg2Ext: return 0xC0 + (stream & 7);
    default: return -1;
  }
}

std::vector<AudioTrack> audioTracks(const AttributeSet& attributes, const ProgramChain& pgc) {
  std::vector<AudioTrack> tracks;
  const std::size_t count = std::min(attributes.audio.size(), kAudioControls);
  for (std::size_t i = 0; i < count; ++i) {
    AudioTrack track;
    track.number = static_cast<std::int32_t>(i + 1);
    track.attributes = attributes.audio[i];
    const AudioControl& control = pgc.audiocontrol[i];
    track.carried = control.present;
    if (control.present) {
      // Bits 10-8 of the entry: the stream number.
      track.stream = (control.value >> 8) & 7;
      track.streamId = audioStreamId(track.attributes.codingmode, track.stream);
    }
    tracks.push_back(track);
  }
  return tracks;
}

std::vector<SubtitleTrack> subtitleTracks(const AttributeSet& attributes, const ProgramChain& pgc) {
  std::vector<SubtitleTrack> tracks;
  const std::size_t count = std::min(attributes.subpictures.size(), kSubpictureControls);
  for (std::size_t i = 0; i < count; ++i) {
    SubtitleTrack track;
    track.number = static_cast<std::int32_t>(i + 1);
    track.attributes = attributes.subpictures[i];
    const SubpictureControl& control = pgc.subpicturecontrol[i];
    track.carried = control.present;
    if (control.present) track.streams = control.streams;
    tracks.push_back(track);
  }
  return tracks;
}

namespace {

bool sameStream(const AudioTrack& a, const AudioTrack& b) {
  return a.carried == b.carried && a.stream == b.stream;
}
bool sameStream(const SubtitleTrack& a, const SubtitleTrack& b) {
  return a.carried == b.carried && a.streams == b.streams;
}

template <typename Track, typename TracksOf>
std::vector<Track> acrossChains(const TitleSetInfo& titleSet, const std::vector<std::int32_t>& chains,
                                TracksOf tracksOf) {
  std::vector<Track> tracks;
  bool first = true;
  for (std::int32_t c : chains) {
    if (c < 0 || static_cast<std::size_t>(c) >= titleSet.programchains.size()) continue;
    std::vector<Track> here = tracksOf(titleSet.attributes.title,
                                       titleSet.programchains[static_cast<std::size_t>(c)]);
    if (first) {
      tracks = here;
      first = false;
      continue;
    }
    for (std::size_t i = 0; i < tracks.size() && i < here.size(); ++i)
      if (!sameStream(tracks[i], here[i])) tracks[i].carried = false;
  }
  return tracks;
}

template <typename Track>
std::string listOf(const std::vector<Track>& tracks) {
  std::string text;
  for (const Track& track : tracks) {
    if (!track.carried) continue;
    std::string language;
    for (char c : track.attributes.specificcode)
      if (c > 0x20 && c < 0x7F) language += c;
    text += (text.empty() ? "" : ", ") + std::to_string(track.number) +
            (language.empty() ? "" : " " + language);
  }
  return text.empty() ? "none" : text;
}

}  // namespace

std::vector<AudioTrack> audioTracks(const TitleSetInfo& titleSet,
                                    const std::vector<std::int32_t>& chains) {
  std::vector<AudioTrack> tracks = acrossChains<AudioTrack>(
      titleSet, chains, [](const AttributeSet& a, const ProgramChain& p) { return audioTracks(a, p); });
  for (AudioTrack& track : tracks)
    if (!track.carried) track.streamId = -1;
  return tracks;
}

std::vector<SubtitleTrack> subtitleTracks(const TitleSetInfo& titleSet,
                                          const std::vector<std::int32_t>& chains) {
  return acrossChains<SubtitleTrack>(
      titleSet, chains,
      [](const AttributeSet& a, const ProgramChain& p) { return subtitleTracks(a, p); });
}

std::string trackList(const std::vector<AudioTrack>& tracks) { return listOf(tracks); }
std::string trackList(const std::vector<SubtitleTrack>& tracks) { return listOf(tracks); }

SubtitleView defaultSubtitleView(const VideoAttributes& video) {
  // Aspect code 3 is 16:9; 0 (4:3) and the reserved codes use the 4:3 stream.
  return video.aspectratio == 3 ? SubtitleView::Wide : SubtitleView::Standard;
}

bool subtitleViewApplies(const VideoAttributes& video, SubtitleView view) {
  return (view == SubtitleView::Standard) == (defaultSubtitleView(video) == SubtitleView::Standard);
}

std::int32_t subtitleStreamId(const SubtitleTrack& track, SubtitleView view) {
  const std::int32_t stream = track.streams[static_cast<std::size_t>(view)];
  return stream < 0 ? -1 : 0x20 + (stream & 0x1F);
}

const char* subtitleViewName(SubtitleView view) {
  switch (view) {
    case SubtitleView::Standard: return "4:3";
    case SubtitleView::Wide: return "wide";
    case SubtitleView::Letterbox: return "letterbox";
    case SubtitleView::PanScan: return "pan-scan";
  }
  return "4:3";
}

const char* audioCodingName(std::int32_t codingmode) {
  switch (codingmode) {
    case kCodingAc3: return "ac3";
    case kCodingMpeg1: return "mpeg1";
    case kCodingMpeg2Ext: return "mpeg2ext";
    case kCodingLpcm: return "lpcm";
    case kCodingDts: return "dts";
    default: return "unknown";
  }
}

std::int32_t audioSampleRate(const AudioAttributes& audio) {
  return audio.samplingcode == 0 ? 48000 : audio.samplingcode == 1 ? 96000 : 0;
}

std::int32_t lpcmBits(const AudioAttributes& audio) {
  return audio.quant < 3 ? 16 + 4 * audio.quant : 0;
}

}  // namespace dvdnav
