// Test helpers: a private scratch folder, files made in it (sparse ones
// too), and a recorder for the messages the file inputs show.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "platform/message_box.h"

namespace testing_support {

// A fresh folder under the system's temporary folder, removed (as far as the
// system allows) when the object goes away.
class ScratchDir {
 public:
  ScratchDir();
  ~ScratchDir();
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;

  // The full name of `leaf` inside the folder, with the platform's separator.
  std::string path(const std::string& leaf) const;
  const std::string& root() const { return root_; }

  // Writes `bytes` to a new file `leaf` and returns its full name.
  std::string write(const std::string& leaf, const std::string& bytes) const;
  // Writes `size` bytes of a pattern that depends on `seed` and the offset.
  std::string writePattern(const std::string& leaf, std::int64_t size, unsigned seed) const;
  // A file of `size` bytes that takes no disk space except where `marks`
  // (offset, bytes) are written.
  std::string writeSparse(const std::string& leaf, std::int64_t size,
                          const std::vector<std::pair<std::int64_t, std::string>>& marks) const;

 private:
  std::string root_;
};

// The byte `writePattern` puts at `offset` for `seed`.
unsigned char patternByte(unsigned seed, std::int64_t offset);

std::string readWholeFile(const std::string& name);

struct Message {
  std::string text;
  std::string caption;
  bool operator==(const Message& other) const {
    return text == other.text && caption == other.caption;
  }
};

// Records every message shown while it lives instead of showing it.
class MessageRecorder {
 public:
  MessageRecorder();
  ~MessageRecorder();
  const std::vector<Message>& messages() const { return messages_; }
  void clear() { messages_.clear(); }

 private:
  std::vector<Message> messages_;
  platform::MessageHook previous_;
};

}  // namespace testing_support

namespace testing_support {
inline void PrintTo(const Message& m, std::ostream* os) {
  *os << "{\"" << m.text << "\", \"" << m.caption << "\"}";
}
}  // namespace testing_support

namespace testing_support {
// True while some handle or descriptor of this process has `name` open.
bool isHeldOpen(const std::string& name);
}  // namespace testing_support
