#include "disc/open_disc_image.h"

#include "disc/scrambled_packs.h"

namespace {

OpenedDiscImage refused(disc::Problem problem, const std::string& message) {
  return {nullptr, problem, message};
}

}  // namespace

OpenedDiscImage openDiscImage(const std::string& path, const std::string& location) {
  auto bytes = std::make_shared<FileImageBytes>(path);
  if (!bytes->isOpen()) return refused(disc::Problem::Unreadable, "cannot be opened");
  disc::ImageTable table = disc::readImageTable(*bytes);
  if (table.problem != disc::Problem::None) return refused(table.problem, table.message);
  if (!disc::findFile(table, "VIDEO_TS.IFO"))
    return refused(disc::Problem::NoVideoTs, "no VIDEO_TS.IFO in the image's VIDEO_TS folder");
  auto files = std::make_shared<ImageFiles>(bytes, std::move(table), location);
  std::string scrambled = disc::findScrambledVob(*files);
  if (!scrambled.empty())
    return refused(disc::Problem::Scrambled, disc::scrambledMessage(scrambled));
  return {files, disc::Problem::None, {}};
}
