#include "support/disc_images.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>

#include "support/scratch.h"

namespace testing_support {

namespace {

const std::string kSamplesDir = FENNORIA_SAMPLES_DIR;

std::string inQuotes(const std::string& text) { return "'" + text + "'"; }

ScratchDir& imageFolder() {
  static ScratchDir dir;
  return dir;
}

std::string makeCommand(const SampleImage& image, const std::string& out) {
  std::string from = inQuotes(kSamplesDir + "/" + image.folder);
  // genisoimage's -dvd-video wants the upper-case names; the lower-case copy
  // gets its UDF side without the DVD-Video sort order.
  if (image.udf)
    return std::string("genisoimage -quiet ") +
           (std::string(image.folder) == "dvd" ? "-dvd-video " : "") + "-udf -o " + out + " " +
           from;
  return "xorriso -as mkisofs -quiet -o " + out + " " + from;
}

}  // namespace

const std::vector<SampleImage>& sampleImages() {
  static const std::vector<SampleImage> images = {{"udf-upper", "dvd", true},
                                                  {"udf-lower", "dvd-lower", true},
                                                  {"iso-upper", "dvd", false},
                                                  {"iso-lower", "dvd-lower", false}};
  return images;
}

std::string imagePath(const SampleImage& image) {
  static std::map<std::string, std::string> made;
  auto found = made.find(image.label);
  if (found != made.end()) return found->second;
  std::string out = imageFolder().path(std::string(image.label) + ".iso");
  std::string words;
  int status = shell(makeCommand(image, inQuotes(out)) + " 2>&1", &words);
  EXPECT_EQ(status, 0) << "cannot make " << image.label << ": " << words;
  made[image.label] = out;
  return out;
}

std::string imageSourceFolder(const SampleImage& image) {
  return kSamplesDir + "/" + image.folder +
         (std::string(image.folder) == "dvd" ? "/VIDEO_TS" : "/video_ts");
}

int shell(const std::string& command, std::string* output) {
  FILE* pipe = ::popen(command.c_str(), "r");
  if (!pipe) return -1;
  std::string text;
  char chunk[4096];
  std::size_t got;
  while ((got = std::fread(chunk, 1, sizeof chunk, pipe)) > 0) text.append(chunk, got);
  int status = ::pclose(pipe);
  if (output) *output = text;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::vector<std::uint8_t> readBytes(const std::string& name) {
  std::ifstream in(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void writeBytes(const std::string& name, const std::vector<std::uint8_t>& bytes) {
  std::ofstream out(name, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

void fixTagChecksum(std::vector<std::uint8_t>& bytes, std::size_t at) {
  unsigned sum = 0;
  for (std::size_t i = 0; i < 16; ++i)
    if (i != 4) sum += bytes[at + i];
  bytes[at + 4] = static_cast<std::uint8_t>(sum);
}

std::size_t findUdfIdentifier(const std::vector<std::uint8_t>& bytes, const std::string& name) {
  // A file identifier descriptor: tag 257, the name's length at 19, the
  // implementation use length at 36, the name (compression 8) after that.
  for (std::size_t at = 0; at + 38 + 256 < bytes.size(); at += 4) {
    if (bytes[at] != 1 || bytes[at + 1] != 1) continue;
    std::size_t use = bytes[at + 36] | (bytes[at + 37] << 8);
    if (bytes[at + 19] != name.size() + 1 || bytes[at + 38 + use] != 8) continue;
    if (std::equal(name.begin(), name.end(), bytes.begin() + static_cast<long>(at + 39 + use)))
      return at;
  }
  return 0;
}

}  // namespace testing_support
