// fennoria cat: the list mode's joined stream (FileList and
// MultipleFileInputer), to stdout or a file.
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <vector>

#include "cli/cli.h"
#include "cli/inputs.h"
#include "input/file_list.h"
#include "input/multiple_file_inputer.h"
#include "platform/file.h"
#include "platform/io_buffer.h"

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

// A list that cannot be read would pass for an empty one.
void readableOrFail(const std::string& name) {
  std::FILE* file = std::fopen(name.c_str(), "rb");
  if (!file) fail(name, "cannot be read (" + errnoText() + ")");
  std::fclose(file);
}

// A file over 1024 bytes is never read as a list: said once, for a file
// whose name says it is one.
void noteMediaFileNamedAsList(const std::string& name) {
  const std::size_t dot = name.find_last_of('.');
  std::string extension = dot == std::string::npos ? "" : name.substr(dot);
  for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  std::error_code error;
  if (extension == ".lst" && std::filesystem::file_size(std::filesystem::u8path(name), error) > 1024 &&
      !error)
    std::fprintf(stderr,
                 "fennoria: %s: note: over 1024 bytes, so it is played as a media file, not read "
                 "as a list (a list is at most 1024 bytes)\n",
                 name.c_str());
}

// A listed file that cannot be opened; a relative name is looked for in
// the current folder, not the list's, which is worth saying.
[[noreturn]] void unopenableListed(const std::string& listed, const std::string& list) {
  const std::string why = errnoText();
  const bool relative = !listed.empty() && listed[0] != '/' && listed[0] != '\\' &&
                        !(listed.size() > 1 && listed[1] == ':');
  std::error_code error;
  const std::string here = std::filesystem::current_path(error).u8string();
  fail(listed, "cannot be opened (" + why + "; listed in " + list +
                   (relative ? "; a relative name is looked for in the current folder, " + here +
                                   ", not the list's"
                             : "") +
                   ")");
}

}  // namespace

int runCat(const std::vector<std::string>& argv) {
  Args args("cat", argv, {{"-o", "--output", true, false}});
  if (args.help) return printHelp(kHelp);
  if (args.positional.size() != 1) usage("cat", "give exactly one list or media file");
  const std::string& name = args.positional[0];
  if (isDirectory(name)) fail(name, "is a folder, not a list or media file");
  if (!isRegularFile(name)) fail(name, "no such file");
  readableOrFail(name);
  noteMediaFileNamedAsList(name);

  FileList list;
  list.load(name.c_str());
  if (list.count == 0) fail(name, "names no file (an empty list, or a file below 5 bytes)");
  for (std::int32_t i = 0; i < list.count; ++i) {
    if (!list.names[i]) fail(name, "out of memory reading the list");
    platform::FileHandle handle =
        platform::openExistingForRead(list.names[i], platform::AccessHint::None);
    if (handle == platform::kInvalidFile) unopenableListed(list.names[i], name);
    platform::closeFile(handle);
  }

  InputFiles inputs;
  inputs.add(name);
  for (std::int32_t i = 0; i < list.count; ++i) inputs.add(list.names[i]);
  Output out("cat", args.value("-o"), inputs);
  MultipleFileInputer inputer;
  if (inputer.open(&list) != S_OK) fail(name, "cannot open the listed files");

  ProgressLine progress(args.quiet, list.totalLength);
  platform::IoBuffer buffer(1 << 20);
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
