// Lists of real files for the inputer tests.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "input/file_list.h"
#include "input/joined_file_inputer.h"
#include "support/scratch.h"

namespace testing_support {

class InputerTest : public testing::Test {
 protected:
  // Writes files of the given lengths (pattern bytes, seed = index), a list
  // naming them, and loads the list.
  void makeList(const std::vector<std::int64_t>& lengths) {
    std::string text;
    expected.clear();
    for (std::size_t i = 0; i < lengths.size(); ++i) {
      std::string name = dir.path("f" + std::to_string(i) + ".bin");
      if (lengths[i] >= 0) {
        dir.writePattern("f" + std::to_string(i) + ".bin", lengths[i], static_cast<unsigned>(i));
        for (std::int64_t k = 0; k < lengths[i]; ++k)
          expected.push_back(static_cast<char>(patternByte(static_cast<unsigned>(i), k)));
      }
      names.push_back(name);
      text += name + "\r\n";
    }
    list.load(dir.write("list.lst", text).c_str());
  }

  // readBlock into a string; the string holds what the call reported.
  static std::string read(JoinedFileInputer& inputer, std::int64_t count) {
    std::string buffer(static_cast<std::size_t>(count), '\0');
    std::int64_t got = inputer.readBlock(buffer.data(), count);
    buffer.resize(static_cast<std::size_t>(got < 0 ? 0 : got));
    return buffer;
  }

  ScratchDir dir;
  FileList list;
  std::vector<std::string> names;
  std::string expected;  // the joined bytes of the files that exist
  MessageRecorder recorder;
};

}  // namespace testing_support
