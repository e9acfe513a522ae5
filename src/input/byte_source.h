// One byte stream behind the output pin, whatever the mode: the joined files
// of the list (ListSource) or the chosen program chain's sectors
// (TitleSource). The pin seeks, reads, measures and reports progress through
// this interface alone; which source it holds is decided once, when it is
// configured.
#pragma once

#include <cstdint>
#include <optional>

#include "input/random_access_reader.h"

class ByteSource {
 public:
  // The file a source made of files stands in: its index in the list and its
  // name (null when the index names none).
  struct CurrentFile {
    std::int32_t index;
    const char* name;
  };

  ByteSource() = default;
  ByteSource(const ByteSource&) = delete;
  ByteSource& operator=(const ByteSource&) = delete;
  virtual ~ByteSource() = default;

  // The stream's length, as the reader gives it (-1: no stream).
  virtual std::int64_t length() const = 0;
  // The reader's own position in the stream.
  virtual std::int64_t position() const = 0;
  // Moves to `position`; the answer of the reader's own seek, which callers
  // compare with what they asked for.
  virtual std::int64_t seek(std::int64_t position) = 0;
  // Reads up to `count` bytes from the position: the count placed in
  // `buffer`, or -1 when the reader failed.
  virtual std::int64_t read(std::uint8_t* buffer, std::int32_t count) = 0;
  // Reads [position, position + length) wherever the reader stood, for
  // parsers that jump about the stream.
  virtual RandomAccessReader::Result readAt(std::int64_t position, std::int32_t length,
                                            std::uint8_t* buffer) = 0;
  // The file the reader stands in, for a source made of listed files.
  virtual std::optional<CurrentFile> currentFile() const { return std::nullopt; }
  // Whether the stream is a selection from a disc (DVD mode): the pin's
  // length trace names the mode, and a selection of length 0 makes the pin
  // go back to the list.
  virtual bool isSelection() const { return false; }
};
