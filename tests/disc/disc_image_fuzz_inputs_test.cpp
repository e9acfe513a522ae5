// Replays the inputs kept for the disc image reader's fuzz target through
// the same harness, and checks that its seeds are what they claim to be:
// sparse images of the sample disc that the reader reads whole, so that the
// fuzzer starts from the deep end of the reader.
#include <gtest/gtest.h>

#define FENNORIA_FUZZ_REPLAY_ONLY
#include "../../fuzz/disc_image_fuzz.cpp"
#include "support/fuzz_inputs.h"
#include "support/scratch.h"

using testing_support::readWholeFile;

TEST(DiscImageFuzzInputs, SeedsRunCleanly) {
  testing_support::replayFuzzInputs("corpus", "disc_image_fuzz", disc_image_fuzz::runOne);
}

TEST(DiscImageFuzzInputs, SeedsAreTheSampleDiscsImages) {
  const std::string folder = std::string(FENNORIA_SAMPLES_DIR) + "/../fuzz/corpus/disc_image_fuzz/";
  for (const char* seed : {"udf-upper", "udf-lower", "iso-upper", "iso-lower", "udf-scrambled"}) {
    SCOPED_TRACE(seed);
    std::string bytes = readWholeFile(folder + seed);
    auto image = std::make_shared<disc_image_fuzz::SparseImageBytes>(
        reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    disc::ImageTable table = disc::readImageTable(*image);
    ASSERT_EQ(table.problem, disc::Problem::None) << table.message;
    EXPECT_EQ(table.fileSystem, seed[0] == 'u' ? "UDF" : "ISO 9660");
    EXPECT_NE(disc::findFile(table, "VTS_02_1.VOB"), nullptr);
    ImageFiles files(image, std::move(table), "image");
    EXPECT_EQ(disc::findScrambledVob(files),
              std::string(seed) == "udf-scrambled" ? "VIDEO_TS.VOB" : "");
  }
}

TEST(DiscImageFuzzInputs, KeptRegressionsRunCleanly) {
  testing_support::replayFuzzInputs("regressions", "disc_image_fuzz", disc_image_fuzz::runOne);
}
