// Audio and subtitle tracks as players number them: the title set's
// logical streams (track N is attribute record N - 1), each resolved to the
// stream it plays through a program chain's stream control table. A chain
// may leave a track out; a subtitle track has one stream per display mode
// (4:3, wide, letterbox, pan-scan) and a player picks the one that fits
// the title's aspect.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "dvdnav/ifo_records.h"

namespace dvdnav {

// The audio codings of an attribute record's coding mode.
constexpr std::int32_t kCodingAc3 = 0;
constexpr std::int32_t kCodingMpeg1 = 2;
constexpr std::int32_t kCodingMpeg2Ext = 3;
constexpr std::int32_t kCodingLpcm = 4;
constexpr std::int32_t kCodingDts = 6;

struct AudioTrack {
  std::int32_t number = 0;  // from 1
  AudioAttributes attributes;
  bool carried = false;     // the chain's control lists it
  std::int32_t stream = -1;  // the control's stream number, 0-7
  // The id of its packs: an AC-3 (0x80+n), DTS (0x88+n) or LPCM (0xA0+n)
  // substream of private stream 1, or an MPEG audio stream (0xC0+n); -1
  // when not carried or of a coding without one.
  std::int32_t streamId = -1;
};

// The display modes a subtitle track has a stream for, in the order of the
// control entry's bytes.
enum class SubtitleView { Standard, Wide, Letterbox, PanScan };
constexpr std::int32_t kSubtitleViews = 4;

struct SubtitleTrack {
  std::int32_t number = 0;  // from 1
  SubpictureAttributes attributes;
  bool carried = false;
  std::array<std::int32_t, kSubtitleViews> streams = {-1, -1, -1, -1};  // 0-31 each
};

// The title set's audio tracks as chain `pgc` plays them.
std::vector<AudioTrack> audioTracks(const AttributeSet& attributes, const ProgramChain& pgc);
// The title set's subtitle tracks as chain `pgc` plays them.
std::vector<SubtitleTrack> subtitleTracks(const AttributeSet& attributes, const ProgramChain& pgc);

// The tracks of chains played one after another (a title's, chains counted
// from 0): the first chain's, each carried only when every chain carries
// it as the same stream (or streams).
std::vector<AudioTrack> audioTracks(const TitleSetInfo& titleSet,
                                    const std::vector<std::int32_t>& chains);
std::vector<SubtitleTrack> subtitleTracks(const TitleSetInfo& titleSet,
                                          const std::vector<std::int32_t>& chains);

// "1 en, 2 fr, 3": the carried tracks' numbers and languages, for messages.
std::string trackList(const std::vector<AudioTrack>& tracks);
std::string trackList(const std::vector<SubtitleTrack>& tracks);

// The pack id of audio stream `stream` of a coding, -1 for a coding without
// one.
std::int32_t audioStreamId(std::int32_t codingmode, std::int32_t stream);

// The view a player shows a title's subtitles in: wide for a 16:9 title,
// the 4:3 stream otherwise.
SubtitleView defaultSubtitleView(const VideoAttributes& video);
// Whether a title of this aspect has a stream for `view`: a 4:3 title the
// 4:3 one only, a 16:9 title wide, letterbox and pan-scan.
bool subtitleViewApplies(const VideoAttributes& video, SubtitleView view);
// The subpicture substream (0x20+n) of a track in a view.
std::int32_t subtitleStreamId(const SubtitleTrack& track, SubtitleView view);
// "4:3", "wide", "letterbox", "pan-scan".
const char* subtitleViewName(SubtitleView view);

// "ac3", "mpeg1", "mpeg2ext", "lpcm", "dts" or "unknown".
const char* audioCodingName(std::int32_t codingmode);
// The sampling rate an attribute record gives: 48000 or 96000, 0 when
// reserved.
std::int32_t audioSampleRate(const AudioAttributes& audio);
// The bits of an LPCM sample: 16, 20 or 24 (0 when reserved).
std::int32_t lpcmBits(const AudioAttributes& audio);

}  // namespace dvdnav
