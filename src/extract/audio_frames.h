// The frames of an elementary audio stream as the tool writes it (AC-3, DTS
// core, MPEG audio): each frame opens with a sync word and a header that
// gives its length. A title cut at a cell or chapter begins and ends in the
// middle of frames; a decoder or a muxer wants the stream to open at a whole
// frame, so the tool's raw audio outputs are cut to their whole frames.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

enum class AudioCoding { Ac3, Dts, MpegAudio };

// The length of the frame whose header starts at `p` (`available` bytes
// there), or none when no valid header of `coding` stands there.
std::optional<std::int64_t> audioFrameLength(AudioCoding coding, const std::uint8_t* p,
                                             std::size_t available);

// Where the whole frames of a stream lie: from the first frame whose header
// is followed, one frame length on, by another header (or by the end), to
// the end of the last frame that the stream holds whole. Bytes between
// frames that no header accounts for stay where they are.
struct FrameSpan {
  std::int64_t start = 0;
  std::int64_t end = 0;  // `start` when the stream holds no whole frame
};
FrameSpan wholeFrames(AudioCoding coding, const std::uint8_t* bytes, std::int64_t size);

// Cuts the file `path` to its whole frames, and the timing file beside it
// (when `timingPath` is not empty) to the lines of the bytes that stay,
// their positions counted from the new start. False when a file could not
// be read or written.
bool cutToWholeFrames(AudioCoding coding, const std::string& path, const std::string& timingPath);
