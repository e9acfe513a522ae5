// The tool on disc images that real tools made of the sample disc: every
// subcommand gives exactly what it gives on the folder the image was made
// of, the title ranges are libdvdread's reading of the same image, and a
// damaged image ends in one line naming the image and what is wrong.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "cli/samples.h"
#include "cli/tool_runner.h"
#include "support/disc_images.h"
#include "support/scratch.h"
#include "support/sha256.h"

using namespace cli_test;
using testing_support::imagePath;
using testing_support::imageSourceFolder;
using testing_support::readWholeFile;
using testing_support::SampleImage;
using testing_support::sampleImages;
using testing_support::ScratchDir;

namespace {

struct Chain {
  int titleSet, pgc;
};
const std::vector<Chain> kChains = {{1, 1}, {1, 2}, {2, 1}};

std::vector<std::string> withChain(std::vector<std::string> args, const Chain& c) {
  args.insert(args.end(), {"--titleset", std::to_string(c.titleSet), "--pgc", std::to_string(c.pgc)});
  return args;
}

// The output without the lines that name the disc: its path and, for an image, its
// label.
std::string withoutDiscName(const std::string& text) {
  std::istringstream in(text);
  std::string line, kept;
  while (std::getline(in, line))
    if (line.find("\"path\":") == std::string::npos && line.find("\"label\":") == std::string::npos &&
        line.rfind("Disc ", 0) != 0 && line.rfind("Label ", 0) != 0)
      kept += line + "\n";
  return kept;
}

void expectSameRun(const std::vector<std::string>& onImage, const std::vector<std::string>& onFolder,
                   bool dropDiscName = false) {
  Result image = runTool(onImage);
  Result folder = runTool(onFolder);
  ASSERT_EQ(folder.status, 0) << folder.err;
  ASSERT_EQ(image.status, 0) << image.err;
  if (dropDiscName)
    EXPECT_EQ(withoutDiscName(image.out), withoutDiscName(folder.out));
  else
    EXPECT_TRUE(image.out == folder.out) << image.out.size() << " vs " << folder.out.size();
  EXPECT_EQ(image.err, folder.err);
}

void expectImageError(const std::vector<std::string>& args, const std::string& image,
                      const std::string& what) {
  Result run = runTool(args);
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "fennoria: " + image + ": " + what + "\n");
}

// A copy of the UDF image in `dir` with `patch` applied.
std::string patchedImage(const ScratchDir& dir, const std::string& leaf,
                         void (*patch)(std::vector<std::uint8_t>&)) {
  std::vector<std::uint8_t> bytes = testing_support::readBytes(imagePath(sampleImages()[0]));
  patch(bytes);
  std::string name = dir.path(leaf);
  testing_support::writeBytes(name, bytes);
  return name;
}

}  // namespace

TEST(ToolInfo, ImageEqualsFolder) {
  for (const SampleImage& kind : sampleImages()) {
    SCOPED_TRACE(kind.label);
    std::string image = imagePath(kind), folder = imageSourceFolder(kind);
    expectSameRun({"info", image, "--json"}, {"info", folder, "--json"}, true);
    expectSameRun({"info", image}, {"info", folder}, true);
    for (const Chain& c : kChains)
      expectSameRun(withChain({"chapters", image}, c), withChain({"chapters", folder}, c));
  }
}

TEST(ToolIfo, ImageEqualsFolder) {
  for (const SampleImage& kind : sampleImages()) {
    SCOPED_TRACE(kind.label);
    expectSameRun({"ifo", imagePath(kind)}, {"ifo", imageSourceFolder(kind)});
  }
}

TEST(ToolDvd, ImageEqualsFolder) {
  for (const SampleImage& kind : sampleImages()) {
    for (const Chain& c : kChains) {
      for (const std::vector<std::string>& audio :
           std::vector<std::vector<std::string>>{{}, {"--audio", "1"}, {"--audio", "2"}, {"--mpeg", "1"}}) {
        std::vector<std::string> image = withChain({"dvd", imagePath(kind), "-q"}, c);
        std::vector<std::string> folder = withChain({"dvd", imageSourceFolder(kind), "-q"}, c);
        image.insert(image.end(), audio.begin(), audio.end());
        folder.insert(folder.end(), audio.begin(), audio.end());
        SCOPED_TRACE(std::string(kind.label) + " " + folder[4] + "/" + folder[6] +
                     (audio.empty() ? "" : " " + audio[0] + " " + audio[1]));
        expectSameRun(image, folder);
      }
    }
    expectSameRun({"dvd", imagePath(kind), "--titleset", "1", "--pgc", "1", "--cell", "2"},
                  {"dvd", imageSourceFolder(kind), "--titleset", "1", "--pgc", "1", "--cell", "2"});
  }
}

// libdvdread's DVDReadBlocks over the same image gives the same sectors.
// libdvdread finds files in an image through UDF only, so the images without
// UDF have no such reference (they are held to the folder above).
TEST(ToolDvd, ImageEqualsLibdvdreadBlocks) {
#ifndef FENNORIA_DVDREAD_FACTS
  GTEST_SKIP() << "built without libdvdread";
#else
  for (const SampleImage& kind : sampleImages()) {
    if (!kind.udf) continue;
    SCOPED_TRACE(kind.label);
    std::string facts;
    ASSERT_EQ(testing_support::shell(std::string("'") + FENNORIA_DVDREAD_FACTS + "' '" +
                                         imagePath(kind) + "' 2>/dev/null",
                                     &facts),
              0);
    EXPECT_EQ(facts, readWholeFile(kSamples + "/dvd/dvdread-facts.txt"));
    for (const Chain& c : kChains) {
      std::string key = "vts." + std::to_string(c.titleSet) + ".pgc." + std::to_string(c.pgc) +
                        ".sha256 ";
      std::size_t at = facts.find(key);
      ASSERT_NE(at, std::string::npos) << key;
      Result run = runTool(withChain({"dvd", imagePath(kind), "-q"}, c));
      ASSERT_EQ(run.status, 0) << run.err;
      EXPECT_EQ(testing_support::sha256Hex(run.out), facts.substr(at + key.size(), 64)) << key;
    }
  }
#endif
}

TEST(ToolDemux, ImageEqualsFolder) {
  for (const SampleImage& kind : sampleImages()) {
    for (const Chain& c : kChains) {
      SCOPED_TRACE(std::string(kind.label) + " " + std::to_string(c.titleSet) + "/" +
                   std::to_string(c.pgc));
      ScratchDir dir;
      // Each chain's two audio tracks (AC-3 and MPEG in title set 1, two
      // MPEG streams in title set 2) and, where it has one, its subtitles.
      const bool subtitles = c.titleSet == 1;
      std::vector<std::string> names = {"audio-1", "audio-2", "m2v"};
      if (subtitles) names.push_back("sub");
      for (const char* side : {"image", "folder"}) {
        std::string input = std::string(side) == "image" ? imagePath(kind) : imageSourceFolder(kind);
        auto out = [&](const std::string& n) { return dir.path(std::string(side) + "." + n); };
        std::vector<std::string> args = {"demux", input, "-q", "--timing",
                                         "--audio", "1=" + out("audio-1"),
                                         "--audio", "2=" + out("audio-2"),
                                         "--video", out("m2v")};
        if (subtitles) args.insert(args.end(), {"--subtitle", "1=" + out("sub")});
        Result run = runTool(withChain(args, c));
        ASSERT_EQ(run.status, 0) << run.err;
      }
      for (const std::string& n : names) {
        SCOPED_TRACE(n);
        std::string fromFolder = readWholeFile(dir.path("folder." + n));
        EXPECT_TRUE(readWholeFile(dir.path("image." + n)) == fromFolder);
        EXPECT_TRUE(readWholeFile(dir.path("image." + n + ".timing")) ==
                    readWholeFile(dir.path("folder." + n + ".timing")));
      }
      EXPECT_FALSE(readWholeFile(dir.path("folder.m2v")).empty());
    }
  }
}

// A drive is a block device: a loop device over the image stands in for one
// where the machine lets us attach it.
TEST(ToolDvd, DriveEqualsFolder) {
  std::string device;
  int status = testing_support::shell(
      "losetup --find --show --read-only '" + imagePath(sampleImages()[0]) + "' 2>&1", &device);
  if (status != 0)
    GTEST_SKIP() << "no loop device can be attached here (losetup: " << device << ")";
  while (!device.empty() && device.back() == '\n') device.pop_back();
  struct Detach {
    std::string device;
    ~Detach() { testing_support::shell("losetup --detach '" + device + "'"); }
  } detach{device};
  for (const Chain& c : kChains)
    expectSameRun(withChain({"dvd", device, "-q"}, c), withChain({"dvd", kDisc, "-q"}, c));
  expectSameRun({"info", device, "--json"}, {"info", kDisc, "--json"}, true);
}

TEST(ToolErrors, FileThatIsNoImage) {
  std::string vob = kDisc + "/VTS_01_1.VOB";
  expectImageError({"info", vob}, vob,
                   "is neither a VIDEO_TS folder nor a disc image (no UDF or ISO 9660 volume)");
}

TEST(ToolErrors, ImageWithoutVideoTs) {
  ScratchDir dir;
  std::string image = dir.path("list.iso");
  ASSERT_EQ(testing_support::shell("genisoimage -quiet -udf -o '" + image + "' '" + kSamples +
                                   "/list' 2>&1"),
            0);
  expectImageError({"dvd", image, "--titleset", "1", "--pgc", "1"}, image,
                   "no VIDEO_TS folder in the UDF root directory");
}

TEST(ToolErrors, TruncatedImage) {
  ScratchDir dir;
  std::vector<std::uint8_t> bytes = testing_support::readBytes(imagePath(sampleImages()[2]));
  bytes.resize(bytes.size() / 2);
  std::string image = dir.path("cut.iso");
  testing_support::writeBytes(image, bytes);
  Result run = runTool({"dvd", image, "--titleset", "1", "--pgc", "1"});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err.rfind("fennoria: " + image + ": truncated: ", 0), 0u) << run.err;
  EXPECT_NE(run.err.find(", beyond the image's end at byte " + std::to_string(bytes.size()) + "\n"),
            std::string::npos)
      << run.err;
}

TEST(ToolErrors, ImageWhoseFolderLoops) {
  ScratchDir dir;
  std::string image = patchedImage(dir, "loop.iso", [](std::vector<std::uint8_t>& bytes) {
    std::size_t videoTs = testing_support::findUdfIdentifier(bytes, "VIDEO_TS");
    std::size_t parent = videoTs - videoTs % 2048;
    std::copy(bytes.begin() + static_cast<long>(parent + 20),
              bytes.begin() + static_cast<long>(parent + 36),
              bytes.begin() + static_cast<long>(videoTs + 20));
    testing_support::fixTagChecksum(bytes, videoTs);
  });
  expectImageError({"ifo", image}, image,
                   "VIDEO_TS: its file entry is the root directory's (a loop)");
}

TEST(ToolErrors, ImageWhoseDescriptorPointsOutside) {
  ScratchDir dir;
  std::string image = patchedImage(dir, "outside.iso", [](std::vector<std::uint8_t>& bytes) {
    std::size_t videoTs = testing_support::findUdfIdentifier(bytes, "VIDEO_TS");
    bytes[videoTs + 24 + 3] = 0x40;
    testing_support::fixTagChecksum(bytes, videoTs);
  });
  Result run = runTool({"info", image});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err.rfind("fennoria: " + image + ": VIDEO_TS: file entry points to block ", 0), 0u)
      << run.err;
  EXPECT_NE(run.err.find(", outside the partition's "), std::string::npos) << run.err;
}

TEST(ToolErrors, ScrambledImage) {
  ScratchDir dir;
  std::string image = patchedImage(dir, "css.iso", [](std::vector<std::uint8_t>& bytes) {
    // The scrambling bits of every video pack.
    for (std::size_t at = 0; at + 2048 <= bytes.size(); at += 2048)
      if (bytes[at + 3] == 0xBA && bytes[at + 14] == 0 && bytes[at + 16] == 1 &&
          bytes[at + 17] == 0xE0)
        bytes[at + 0x14] |= 0x10;
  });
  const std::string what =
      "the disc is scrambled (CSS; VIDEO_TS.VOB is encrypted), and decrypting it is not "
      "fennoria's business";
  expectImageError({"dvd", image, "--titleset", "1", "--pgc", "1"}, image, what);
  expectImageError({"demux", image, "--titleset", "1", "--pgc", "1", "--ac3", "0=" + dir.path("a")},
                   image, what);
}

namespace {

// A UDF image of another bundled disc, made in `dir` by genisoimage.
std::string udfImageOf(const ScratchDir& dir, const std::string& sample) {
  std::string image = dir.path(sample + ".iso");
  int status = testing_support::shell("genisoimage -quiet -dvd-video -udf -o " + quote(image) +
                                      " " + quote(kSamples + "/" + sample) + " 2>&1");
  EXPECT_EQ(status, 0) << "genisoimage could not make the image of " << sample;
  return image;
}

}  // namespace

// The branching sample's chains in playback order (a cell that runs on from
// one VOB file into the next, cells in reverse), read from inside an image.
TEST(ToolDvdPlaybackOrder, ImageEqualsFolder) {
  ScratchDir dir;
  std::string image = udfImageOf(dir, "dvd-branching");
  for (int pgc : {1, 2, 3}) {
    SCOPED_TRACE(pgc);
    std::vector<std::string> args = {"--titleset", "1", "--pgc", std::to_string(pgc),
                                     "--playback-order", "--ac3", "1"};
    std::vector<std::string> onImage = {"dvd", image}, onFolder = {"dvd", kSamples + "/dvd-branching"};
    onImage.insert(onImage.end(), args.begin(), args.end());
    onFolder.insert(onFolder.end(), args.begin(), args.end());
    expectSameRun(onImage, onFolder);
  }
}

// The tool's own outputs (DTS, WAV, VobSub) from inside an image of the
// streams sample are the folder's, and so are the printed delays.
TEST(ToolDemux, StreamOutputsFromAnImageEqualTheFolders) {
  ScratchDir dir;
  std::string image = udfImageOf(dir, "dvd-streams");
  std::vector<std::string> printed;
  for (const char* side : {"image", "folder"}) {
    std::string input = std::string(side) == "image" ? image : kSamples + "/dvd-streams";
    auto out = [&](const std::string& n) { return dir.path(std::string(side) + "." + n); };
    Result run = runTool({"demux", input, "--titleset", "1", "--pgc", "1", "--dts", "0=" + out("dts"),
                          "--lpcm", "1=" + out("wav"), "--vobsub", "0=" + out("vobsub")});
    ASSERT_EQ(run.status, 0) << run.err;
    printed.push_back(run.out);
  }
  for (const char* n : {"dts", "wav", "vobsub.sub"}) {
    SCOPED_TRACE(n);
    std::string fromFolder = readWholeFile(dir.path(std::string("folder.") + n));
    EXPECT_FALSE(fromFolder.empty());
    EXPECT_TRUE(readWholeFile(dir.path(std::string("image.") + n)) == fromFolder);
  }
  // The index names its .sub file's folder nowhere, so the two are equal.
  EXPECT_EQ(readWholeFile(dir.path("image.vobsub.idx")), readWholeFile(dir.path("folder.vobsub.idx")));
  // Delays name the outputs: compare them with the sides' names taken out.
  auto unnamed = [&](std::string text, const std::string& side) {
    for (std::size_t at; (at = text.find(dir.path(side + "."))) != std::string::npos;)
      text.erase(at, dir.path(side + ".").size());
    return text;
  };
  EXPECT_EQ(unnamed(printed[0], "image"), unnamed(printed[1], "folder"));
}
