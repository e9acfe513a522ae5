#include "cli/disc.h"

#include <cstdio>
#include <filesystem>
#include <vector>

#include "cli/args.h"
#include "cli/inputs.h"
#include "cli/output.h"
#include "demux/stream.h"
#include "disc/disc_files.h"
#include "disc/open_disc_image.h"
#include "dvdnav/cell_layout.h"
#include "dvdnav/dvd_title_reader.h"

namespace cli {

namespace {

bool hasIfo(const std::string& folder) {
  return isRegularFile(folder + "/VIDEO_TS.IFO") || isRegularFile(folder + "/video_ts.ifo");
}

bool isFileOrDrive(const std::string& path) {
  std::error_code error;
  return isRegularFile(path) || std::filesystem::is_block_file(std::filesystem::u8path(path), error);
}

// The VIDEO_TS folder inside the image `path`; every fault ends the run
// with a message naming the image.
std::shared_ptr<const ImageFiles> openImage(const std::string& path) {
  OpenedDiscImage image = openDiscImage(path, path + "/VIDEO_TS");
  if (image.problem == disc::Problem::NotAnImage)
    fail(path, "is neither a VIDEO_TS folder nor a disc image (no UDF or ISO 9660 volume)");
  if (!image.files) fail(path, image.message);
  return image.files;
}

}  // namespace

bool isDiscImage(const std::string& path) {
  if (!isFileOrDrive(path)) return false;
  FileImageBytes bytes(path);
  return bytes.isOpen() && disc::hasVolumeSignature(bytes);
}

Disc::Disc(const std::string& name, bool dumpToStdout)
    : folder(name), log_([this](int level, const char* text) {
        if (level == 3) {
          if (dumping_) {
            std::fputs(text, stdout);
            std::fputc('\n', stdout);
          }
        } else if (level <= 1) {
          messages_.push_back(text);
        }
      }) {
  while (folder.size() > 1 && (folder.back() == '/' || folder.back() == '\\')) folder.pop_back();
  if (!isDirectory(folder)) {
    std::error_code error;
    if (!std::filesystem::exists(std::filesystem::u8path(folder), error))
      fail(folder, "no such file or folder");
    if (!isFileOrDrive(folder))
      fail(folder, "is neither a VIDEO_TS folder, a disc image nor a drive");
    image_ = folder;
    folder += "/VIDEO_TS";
    std::shared_ptr<const ImageFiles> files = openImage(image_);
    label = files->table().label;
    load(files, dumpToStdout);
    return;
  }
  if (!hasIfo(folder)) {
    for (const char* child : {"VIDEO_TS", "video_ts"})
      if (hasIfo(folder + "/" + child)) {
        folder += std::string("/") + child;
        break;
      }
  }
  if (!hasIfo(folder)) fail(folder, "no VIDEO_TS.IFO (or video_ts.ifo) in this folder");
  load(nullptr, dumpToStdout);
}

void Disc::load(std::shared_ptr<const DiscFiles> image, bool dumpToStdout) {
  dumping_ = dumpToStdout;
  messages_.clear();
  reader = std::make_unique<DvdTitleReader>(log_);
  reader->dumpRecords = dumpToStdout;
  reader->keepTitleSetNumbers = true;
  const bool fromImage = image != nullptr;
  int result = image ? reader->openIfo(std::move(image), folder) : reader->openIfo(folder);
  dumping_ = false;
  // The name the reader tried first, unless only the lower-case one is there.
  const std::string vmg = !fromImage && !isRegularFile(folder + "/VIDEO_TS.IFO") &&
                                  isRegularFile(folder + "/video_ts.ifo")
                              ? folder + "/video_ts.ifo"
                              : folder + "/VIDEO_TS.IFO";
  if (result != 0)
    fail(vmg, "cannot be read (" + whyUnreadable(vmg, fromImage) + "), nor its backup copy");
  if (!reader->videoManager || reader->videoManager->titles.empty())
    fail(vmg, "lists no titles (not a DVD-Video navigation file?)");
  for (const std::string& backup : reader->backupsRead) {
    const std::string ifo = folder + "/" + backup.substr(0, backup.size() - 3) +
                            (reader->upperCaseNames ? "IFO" : "ifo");
    std::fprintf(stderr, "fennoria: %s: warning: cannot be read (%s); its backup copy %s is read instead\n",
                 ifo.c_str(), whyUnreadable(ifo, fromImage).c_str(), backup.c_str());
  }
  for (const auto& [number, name] : reader->unusableTitleSets)
    unusable_[number] = folder + "/" + name + ": " + whyUnreadable(folder + "/" + name, fromImage) +
                        "; its backup copy cannot be read either";
}

std::string Disc::whyUnreadable(const std::string& path, bool inImage) {
  if (inImage) return "missing or damaged in the image";
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (!file) return errnoText();
  std::fclose(file);
  return isRegularFile(path) && std::filesystem::file_size(std::filesystem::u8path(path)) == 0
             ? "empty"
             : "not a DVD-Video navigation file";
}

Disc::~Disc() = default;

void Disc::check(int result) {
  if (result != 0) fail(folder, messages_.empty() ? "the selection failed" : messages_.back());
}

void Disc::select(std::int32_t titleSet, std::int32_t pgc, std::int32_t cell, bool range) {
  const auto& chains = reader->titleSets[static_cast<std::size_t>(titleSet - 1)]->programchains;
  if (range && cell == 0) checkRangeOrder(chains[static_cast<std::size_t>(pgc - 1)], titleSet, pgc);

  messages_.clear();
  reader->selectTitleSet(titleSet, 1);
  check(!range && cell == 0 ? reader->selectPlaybackOrder(pgc - 1)
                            : reader->selectProgramChain(pgc - 1));
  if (cell != 0) check(reader->selectCell(cell - 1));
  checkVobs(titleSet);
}

void Disc::selectTitle(std::int32_t title, std::int32_t first, std::int32_t last) {
  messages_.clear();
  check(reader->selectTitle(title, first, last));
  checkVobs(reader->titleSetNumber);
}

void Disc::checkVobs(std::int32_t titleSet) {
  // Every VOB part must be whole sectors, none may be missing before the
  // last one there, and the parts must reach the end of the selection:
  // anything less is a missing, unreadable or truncated file, named.
  const ConcatenatedStream& vobs = *reader->vobStream;
  const bool inImage = !image_.empty();
  std::size_t present = 0;  // one past the last part that gives bytes
  for (std::size_t i = 0; i < vobs.entries.size(); ++i) {
    const auto& entry = vobs.entries[i];
    if (entry.length % dvdnav::sectorSize != 0)
      fail(entry.name, "size " + std::to_string(entry.length) +
                           " is not a whole number of 2048-byte sectors (truncated?)");
    if (entry.length > 0) present = i + 1;
  }
  for (std::size_t i = 0; i + 1 < present; ++i)
    if (vobs.entries[i].length == 0)
      fail(vobs.entries[i].name, whyUnreadable(vobs.entries[i].name, inImage) + ", while " +
                                     baseName(vobs.entries[present - 1].name) +
                                     " after it is there: title set " + std::to_string(titleSet) +
                                     " cannot be joined");
  std::int64_t endSector = reader->playbackOrder ? reader->cellOrder.endSector() : reader->endBlock;
  std::int64_t needed = endSector * dvdnav::sectorSize;
  if (vobs.totalLength < needed) {
    // The last part there, cut short; or the first, when none is there.
    const bool missing = present == 0;
    const std::string& subject = vobs.entries[missing ? 0 : present - 1].name;
    fail(subject, (missing ? whyUnreadable(subject, inImage) : std::string("truncated")) +
                      ": title set " + std::to_string(titleSet) + " has " +
                      std::to_string(vobs.totalLength / dvdnav::sectorSize) +
                      " sectors of VOB data, the selection ends at sector " +
                      std::to_string(endSector));
  }
}

void Disc::checkRangeOrder(const dvdnav::ProgramChain& chain, std::int32_t titleSet,
                           std::int32_t pgc) const {
  const dvdnav::CellLayout layout = dvdnav::cellLayout(chain);
  if (layout.inRangeOrder) return;
  const std::string name =
      "program chain " + std::to_string(pgc) + " of title set " + std::to_string(titleSet);
  if (layout.rangeSectors <= 0)
    fail(folder, name + ": its cells are out of order and the range from its first cell to its "
                        "last holds nothing; without --range its cells are read as a player reads them");
  std::fprintf(stderr,
               "fennoria: %s: warning: %s: its cells are not in order one after another, so the "
               "range from its first cell to its last holds footage that is not its own (%lld "
               "sectors against its cells' %lld); without --range its cells are read as a "
               "player reads them\n",
               folder.c_str(), name.c_str(), static_cast<long long>(layout.rangeSectors),
               static_cast<long long>(layout.playbackSectors));
}

void Disc::addInputs(InputFiles& inputs) const {
  if (image_.empty())
    inputs.addFolder(folder);
  else
    inputs.add(image_);
}

const std::string* Disc::unusable(std::int32_t titleSet) const {
  auto found = unusable_.find(titleSet);
  return found == unusable_.end() ? nullptr : &found->second;
}

std::string Disc::vobAt(std::int64_t offset) const {
  const std::int64_t sector = reader->playbackOrder
                                  ? reader->cellOrder.sectorAt(offset)
                                  : reader->startBlock + offset / dvdnav::sectorSize;
  const std::int64_t byte = sector * dvdnav::sectorSize;
  for (const auto& entry : reader->vobStream->entries)
    if (byte >= entry.start && byte < entry.start + entry.length) return baseName(entry.name);
  return currentVob();
}

std::string Disc::currentVob() const {
  const ConcatenatedStream& vobs = *reader->vobStream;
  if (vobs.current < vobs.entries.size()) return baseName(vobs.entries[vobs.current].name);
  return vobs.entries.empty() ? std::string() : baseName(vobs.entries.back().name);
}

}  // namespace cli
