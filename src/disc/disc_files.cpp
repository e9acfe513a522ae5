#include "disc/disc_files.h"

#include <algorithm>

std::unique_ptr<mpdx::SeekableStream> FolderFiles::open(const std::string& name) const {
  return std::make_unique<mpdx::IFileStream>(path(name).c_str());
}

std::unique_ptr<mpdx::SeekableStream> ImageFiles::open(const std::string& name) const {
  return std::make_unique<ImageFileStream>(image_, disc::findFile(table_, name));
}

ImageFileStream::ImageFileStream(std::shared_ptr<ImageBytes> image, const disc::ImageFile* file) {
  if (!file) return;
  image_ = std::move(image);
  extents_ = file->extents;
  length_ = file->length;
  std::int64_t start = 0;
  for (const disc::Extent& extent : extents_) {
    starts_.push_back(start);
    start += extent.length;
  }
}

std::int32_t ImageFileStream::read(void* buffer, std::uint32_t count) {
  if (!image_) return 0;
  auto* out = static_cast<std::uint8_t*>(buffer);
  std::int64_t wanted = std::min<std::int64_t>({count, length_ - position_, INT32_MAX});
  std::int64_t done = 0;
  if (wanted <= 0) return 0;
  std::size_t i = static_cast<std::size_t>(
      std::upper_bound(starts_.begin(), starts_.end(), position_) - starts_.begin() - 1);
  for (; i < extents_.size() && done < wanted; ++i) {
    std::int64_t inside = position_ + done - starts_[i];
    std::size_t chunk =
        static_cast<std::size_t>(std::min(wanted - done, extents_[i].length - inside));
    std::size_t got = image_->readAt(extents_[i].offset + inside, out + done, chunk);
    done += static_cast<std::int64_t>(got);
    if (got < chunk) break;
  }
  position_ += done;
  return static_cast<std::int32_t>(done);
}

int ImageFileStream::close() {
  if (!image_) return 1;
  image_.reset();
  length_ = 0;
  position_ = 0;
  return 1;
}

int ImageFileStream::seek(std::int64_t offset) {
  if (!image_) return 1;
  position_ = std::max<std::int64_t>(0, offset);
  return 0;
}
