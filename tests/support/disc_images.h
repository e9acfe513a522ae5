// Disc images of the bundled sample disc, made once per test program by the
// real image tools: genisoimage (UDF and ISO 9660) and xorriso (ISO 9660
// only), from the upper-case and the lower-case copies of the disc.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace testing_support {

struct SampleImage {
  const char* label;   // for test traces: "udf-upper", ...
  const char* folder;  // the copy under samples/ it is made from
  bool udf;            // genisoimage's UDF + ISO 9660, else xorriso's ISO 9660
};

const std::vector<SampleImage>& sampleImages();

// The image's file name, made on first use; the test fails (with the tool's
// words) when it cannot be made.
std::string imagePath(const SampleImage& image);

// The VIDEO_TS folder (upper or lower case) of the copy the image is made of.
std::string imageSourceFolder(const SampleImage& image);

// Runs a shell command; its exit status, its output in `output` if given.
int shell(const std::string& command, std::string* output = nullptr);

// Reading and patching images in a test's scratch folder.
std::vector<std::uint8_t> readBytes(const std::string& name);
void writeBytes(const std::string& name, const std::vector<std::uint8_t>& bytes);
// Recomputes the checksum of the UDF descriptor tag at `at`.
void fixTagChecksum(std::vector<std::uint8_t>& bytes, std::size_t at);
// Where the UDF file identifier of `name` (a folder of the root) starts; 0
// when the image has none.
std::size_t findUdfIdentifier(const std::vector<std::uint8_t>& bytes, const std::string& name);

}  // namespace testing_support
