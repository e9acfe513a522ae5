// fennoria cat: the list mode's joined stream (FileList and
// MultipleFileInputer), to stdout or a file.
#include <vector>

#include "cli/cli.h"
#include "cli/inputs.h"
#include "input/file_list.h"
#include "input/multiple_file_inputer.h"
#include "platform/file.h"

namespace cli {

namespace {

const char* kHelp =
    "usage: fennoria cat LIST_OR_FILE [-o OUT] [--quiet]\n"
    "\n"
    "Writes the files a list names, one after the other, as one stream: exactly\n"
    "what the filter plays in list mode. A list is a text file of 5 to 1024\n"
    "bytes naming one file per line (relative names resolve against the current\n"
    "folder); a larger file is played by itself.\n"
    "\n"
    "  -o, --output OUT   write to OUT (made under a temporary name, renamed when\n"
    "                     complete) instead of stdout\n"
    "  -q, --quiet        no progress line\n"
    "\n"
    "examples:\n"
    "  fennoria cat clips.lst -o joined.mpg\n"
    "  fennoria cat clips.lst | ffprobe -\n";

}  // namespace

int runCat(const std::vector<std::string>& argv) {
  Args args("cat", argv, {{"-o", "--output", true, false}});
  if (args.help) return printHelp(kHelp);
  if (args.positional.size() != 1) usage("cat", "give exactly one list or media file");
  const std::string& name = args.positional[0];
  if (isDirectory(name)) fail(name, "is a folder, not a list or media file");
  if (!isRegularFile(name)) fail(name, "no such file");

  FileList list;
  list.load(name.c_str());
  if (list.count == 0) fail(name, "names no file (an empty list, or a file below 5 bytes)");
  for (std::int32_t i = 0; i < list.count; ++i) {
    if (!list.names[i]) fail(name, "out of memory reading the list");
    platform::FileHandle handle =
        platform::openExistingForRead(list.names[i], platform::AccessHint::None);
    if (handle == platform::kInvalidFile)
      fail(list.names[i], "cannot be opened (listed in " + name + ")");
    platform::closeFile(handle);
  }

  InputFiles inputs;
  inputs.add(name);
  for (std::int32_t i = 0; i < list.count; ++i) inputs.add(list.names[i]);
  Output out("cat", args.value("-o"), inputs);
  MultipleFileInputer inputer;
  if (inputer.open(&list) != S_OK) fail(name, "cannot open the listed files");

  ProgressLine progress(args.quiet, list.totalLength);
  std::vector<char> buffer(1 << 20);
  std::int64_t done = 0;
  while (done < list.totalLength) {
    std::int64_t want = std::min<std::int64_t>(list.totalLength - done,
                                               static_cast<std::int64_t>(buffer.size()));
    std::int64_t got = inputer.readBlock(buffer.data(), want);
    if (got <= 0) {
      std::int32_t index = inputer.fileIndex < list.count ? inputer.fileIndex : list.count - 1;
      fail(list.names[index], "read failed " + std::to_string(list.totalLength - done) +
                                  " bytes before the end of the list (file changed or truncated?)");
    }
    out.write(buffer.data(), static_cast<std::size_t>(got));
    done += got;
    std::int32_t index = inputer.fileIndex < list.count ? inputer.fileIndex : list.count - 1;
    progress.update(done, baseName(list.names[index]));
  }
  progress.finish();
  out.commit();
  return 0;
}

}  // namespace cli
