#include "input/concatenated_stream.h"

#include "disc/disc_files.h"

ConcatenatedStream::ConcatenatedStream(std::vector<std::string> names) {
  entries.reserve(names.size());
  for (auto& name : names) {
    auto stream = std::make_unique<mpdx::IFileStream>(name.c_str());
    append(std::move(name), std::move(stream));
  }
}

ConcatenatedStream::ConcatenatedStream(const DiscFiles& files,
                                       const std::vector<std::string>& names) {
  entries.reserve(names.size());
  for (const auto& name : names) append(files.path(name), files.open(name));
}

void ConcatenatedStream::append(std::string name, std::unique_ptr<mpdx::SeekableStream> stream) {
  std::int64_t length = stream->getLength();
  entries.push_back(Entry{std::move(name), totalLength, length, std::move(stream)});
  totalLength += length;
}

ConcatenatedStream::~ConcatenatedStream() { closeAll(); }

void ConcatenatedStream::closeAll() {
  for (auto& entry : entries) {
    if (!entry.stream) continue;
    entry.stream->close();
    entry.stream.reset();
  }
}

std::int32_t ConcatenatedStream::read(void* buffer, std::int32_t count) {
  auto* out = static_cast<unsigned char*>(buffer);
  std::int32_t done = 0;
  while (done < count) {
    while (current < entries.size() &&
           position >= entries[current].start + entries[current].length)
      ++current;
    if (current >= entries.size() || !entries[current].stream) return done;
    auto piece = static_cast<std::size_t>(count - done);
    void* into = staging_.landing(out + done, position - entries[current].start, &piece);
    std::int32_t r = entries[current].stream->read(into, static_cast<std::uint32_t>(piece));
    if (r == 0) return done;
    if (r < 0) return done > 0 ? done + r : r;
    staging_.deliver(into, out + done, static_cast<std::size_t>(r));
    position += r;
    done += r;
  }
  return done;
}

int ConcatenatedStream::seek(std::int64_t newPosition) {
  for (current = 0; current < entries.size(); ++current) {
    const Entry& entry = entries[current];
    if (entry.start <= newPosition && newPosition < entry.start + entry.length) {
      if (entry.stream) entry.stream->seek(newPosition - entry.start);
      position = newPosition;
      return 1;
    }
  }
  return 1;
}
