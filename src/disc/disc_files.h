// Where the DVD reader finds a disc's files: a VIDEO_TS folder on disk, or
// the VIDEO_TS folder inside a disc image. The IFO loading and the title
// set's joined VOB files open their files through this and nothing else, so
// that both kinds of disc share every line of navigation and range reading.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "demux/stream.h"
#include "disc/disc_image.h"

class DiscFiles {
 public:
  DiscFiles() = default;
  DiscFiles(const DiscFiles&) = delete;
  DiscFiles& operator=(const DiscFiles&) = delete;
  virtual ~DiscFiles() = default;

  // Opens `name`, a bare file name such as "VTS_01_1.VOB". A file that is
  // not there gives a stream that behaves as one at its end, as a file on
  // disk that cannot be opened does.
  virtual std::unique_ptr<mpdx::SeekableStream> open(const std::string& name) const = 0;
  // `name` as messages and the joined files' entries show it.
  virtual std::string path(const std::string& name) const = 0;
};

// The files of a folder on disk, opened by their exact names.
class FolderFiles : public DiscFiles {
 public:
  explicit FolderFiles(std::string folder) : folder_(std::move(folder)) {}
  std::unique_ptr<mpdx::SeekableStream> open(const std::string& name) const override;
  std::string path(const std::string& name) const override { return folder_ + "/" + name; }

 private:
  std::string folder_;
};

// The files of an image's VIDEO_TS folder, found without regard to case.
class ImageFiles : public DiscFiles {
 public:
  // `location` names the folder in messages ("movie.iso/VIDEO_TS").
  ImageFiles(std::shared_ptr<ImageBytes> image, disc::ImageTable table, std::string location)
      : image_(std::move(image)), table_(std::move(table)), location_(std::move(location)) {}
  std::unique_ptr<mpdx::SeekableStream> open(const std::string& name) const override;
  std::string path(const std::string& name) const override { return location_ + "/" + name; }

  const disc::ImageTable& table() const { return table_; }

 private:
  std::shared_ptr<ImageBytes> image_;
  disc::ImageTable table_;
  std::string location_;
};

// One file inside an image: its extents read in order as one stream.
class ImageFileStream : public mpdx::SeekableStream {
 public:
  // With no file (`file` null) the stream is empty, as IFileStream is
  // without one.
  ImageFileStream(std::shared_ptr<ImageBytes> image, const disc::ImageFile* file);

  bool isEnd() override { return position_ >= length_; }
  std::int32_t read(void* buffer, std::uint32_t count) override;
  int close() override;
  int seek(std::int64_t offset) override;
  std::int64_t tell() override { return image_ ? position_ : -1; }
  std::int64_t getLength() override { return length_; }

 private:
  std::shared_ptr<ImageBytes> image_;
  std::vector<disc::Extent> extents_;
  std::vector<std::int64_t> starts_;  // each extent's first file offset, for a binary search
  std::int64_t length_ = 0;
  std::int64_t position_ = 0;
};
