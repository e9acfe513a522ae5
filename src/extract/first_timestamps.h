// The first presentation time stamp of each elementary stream in a run of
// 2048-byte MPEG-2 program stream packs: what an audio stream's delay
// against the video is measured from. It only looks; the packs stay as they
// are.
#pragma once

#include <cstdint>
#include <map>
#include <optional>

class FirstTimestamps {
 public:
  // The key of a stream: its stream id, or for private stream 1 (0xBD) the
  // substream id + 0x100.
  static constexpr int ac3(int number) { return 0x180 + number; }
  static constexpr int privateStream(int substream) { return 0x100 + substream; }
  static constexpr int mpegAudio(int number) { return 0xC0 + number; }
  static constexpr int video = 0xE0;

  // Looks at `count` whole packs; a pack that is not an MPEG-2 pack, or a
  // packet that does not fit in its pack, is passed over.
  void scan(const std::uint8_t* packs, std::size_t count);
  // The first time stamp seen for `key` (90 kHz ticks); every video stream
  // id counts as `video`.
  std::optional<std::int64_t> first(int key) const;

 private:
  void scanPack(const std::uint8_t* pack);
  std::map<int, std::int64_t> first_;
};

// The delay of an audio stream against the video, in milliseconds rounded
// to the nearest (halves away from zero), from two 90 kHz time stamps.
std::int64_t delayMilliseconds(std::int64_t audio, std::int64_t video);
