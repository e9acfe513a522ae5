// Whether a disc's VOB files are scrambled (CSS): a disc read from an image
// or a drive may be, and decrypting it is not this program's business, so it
// is recognised and refused rather than played as noise.
#pragma once

#include <cstdint>
#include <string>

#include "disc/disc_files.h"

namespace disc {

// Whether `sector` is a pack whose first PES packet has its scrambling
// control bits set (packets without those bits, such as navigation packs,
// never count).
bool isScrambledPack(const std::uint8_t* sector);

// The first of the image's VOB files whose opening packs include a
// scrambled one; empty when none. Only the first sectors of each file are
// looked at: a scrambled disc scrambles from its first audio or video pack.
// A reader of a whole title checks every pack besides (firstScrambledPack).
std::string findScrambledVob(const ImageFiles& files);

// The index of the first scrambled one of `count` packs, or -1.
std::int64_t firstScrambledPack(const std::uint8_t* packs, std::size_t count);

// What a scrambled disc is told: `where` names the VOB file (and place).
std::string scrambledMessage(const std::string& where);

}  // namespace disc
