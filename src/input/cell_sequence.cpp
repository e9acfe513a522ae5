#include "input/cell_sequence.h"

#include <algorithm>

#include "dvdnav/ifo_records.h"

namespace {

constexpr std::int64_t kSector = dvdnav::sectorSize;

// How many bytes from `source` on the file the joined files stand in holds,
// when they stand at `source`; 0 when they stand elsewhere or at that
// file's end, where a seek must come first.
std::int64_t bytesLeftInFile(const ConcatenatedStream& vobs, std::int64_t source) {
  if (vobs.getPosition() != source || vobs.current >= vobs.entries.size()) return 0;
  const ConcatenatedStream::Entry& entry = vobs.entries[vobs.current];
  if (!entry.stream || source < entry.start) return 0;
  return std::max<std::int64_t>(entry.start + entry.length - source, 0);
}

}  // namespace

void CellSequence::assign(std::vector<Span> spans) {
  spans_ = std::move(spans);
  starts_.clear();
  length_ = 0;
  for (const Span& span : spans_) {
    starts_.push_back(length_);
    // A cell that ends before it starts contributes nothing.
    length_ += std::max<std::int64_t>(span.endExclusive - span.first, 0) * kSector;
  }
  position_ = 0;
  span_ = 0;
}

std::int64_t CellSequence::currentSector() const {
  if (atEnd()) return spans_.empty() ? 0 : spans_.back().endExclusive;
  return spans_[span_].first + (position_ - starts_[span_]) / kSector;
}

std::int64_t CellSequence::endSector() const {
  std::int64_t end = 0;
  for (const Span& span : spans_) end = std::max(end, span.endExclusive);
  return end;
}

std::int64_t CellSequence::sectorAt(std::int64_t position) const {
  if (position < 0 || position >= length_) return -1;
  // The last span that starts at or before the position and is not empty.
  std::size_t i = static_cast<std::size_t>(
      std::upper_bound(starts_.begin(), starts_.end(), position) - starts_.begin() - 1);
  return spans_[i].first + (position - starts_[i]) / kSector;
}

std::size_t CellSequence::spanAt(std::int64_t position) {
  if (span_ >= spans_.size() || position < starts_[span_]) span_ = 0;
  auto ends = [this](std::size_t i) {
    return i + 1 < starts_.size() ? starts_[i + 1] : length_;
  };
  while (span_ < spans_.size() && position >= ends(span_)) ++span_;
  return span_;
}

std::int32_t CellSequence::read(ConcatenatedStream& vobs, void* buffer, std::int32_t count) {
  auto* out = static_cast<std::uint8_t*>(buffer);
  std::int32_t done = 0;
  while (done < count && !atEnd()) {
    std::size_t i = spanAt(position_);
    if (i >= spans_.size()) break;
    std::int64_t intoSpan = position_ - starts_[i];
    std::int64_t spanLength = (i + 1 < starts_.size() ? starts_[i + 1] : length_) - starts_[i];
    std::int64_t source = spans_[i].first * kSector + intoSpan;
    // The joined files go on into the next file from wherever that file's
    // own pointer stands, which is right only for a range read front to
    // back. Cells jump about, so each read stays inside one file and every
    // new file is entered by a seek.
    std::int64_t fileLeft = bytesLeftInFile(vobs, source);
    if (fileLeft <= 0) {
      vobs.seek(source);
      fileLeft = bytesLeftInFile(vobs, source);
      // The files end before this cell does.
      if (fileLeft <= 0) break;
    }
    std::int32_t want = static_cast<std::int32_t>(
        std::min({static_cast<std::int64_t>(count - done), spanLength - intoSpan, fileLeft}));
    std::int32_t got = vobs.read(out + done, want);
    if (got <= 0) break;
    done += got;
    position_ += got;
    if (got < want) break;
  }
  return done;
}

std::int64_t CellSequence::seek(std::int64_t position) {
  if (position < 0 || position > length_) return -1;
  position_ = position;
  spanAt(position_);
  return position_;
}
