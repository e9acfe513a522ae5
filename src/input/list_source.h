// The list mode's byte source: the joined files of the filter's
// MultipleFileInputer, which the source does not own. With no inputer the
// stream is empty.
#pragma once

#include "input/byte_source.h"

class MultipleFileInputer;

class ListSource : public ByteSource {
 public:
  explicit ListSource(MultipleFileInputer* inputer) : inputer_(inputer) {}

  std::int64_t length() const override;
  std::int64_t position() const override;
  // The inputer's answer; with no inputer, `position` itself.
  std::int64_t seek(std::int64_t position) override;
  std::int64_t read(std::uint8_t* buffer, std::int32_t count) override;
  RandomAccessReader::Result readAt(std::int64_t position, std::int32_t length,
                                    std::uint8_t* buffer) override;
  std::optional<CurrentFile> currentFile() const override;

 private:
  MultipleFileInputer* inputer_;
};
