// The header of a canonical WAV file for little-endian PCM samples.
#pragma once

#include <cstdint>
#include <vector>

#include "extract/lpcm_format.h"

// The header for `dataBytes` bytes of samples in `format`: a plain PCM
// format block for 16-bit mono or stereo, the extensible one (valid bits
// and speaker positions) for more channels or more bits. Sizes that do not
// fit 32 bits are given as the largest that does.
std::vector<std::uint8_t> wavHeader(const LpcmFormat& format, std::uint64_t dataBytes);
