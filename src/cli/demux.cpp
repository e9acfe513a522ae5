// fennoria demux: the VOB demultiplexer over a program chain's sectors, or
// over a VOB file that is already cut, writing the chosen streams (and their
// timing files).
#include <cstdio>
#include <filesystem>
#include <optional>
#include <vector>

#include "cli/cli.h"
#include "cli/read_ahead.h"
#include "demux/dts_output.h"
#include "demux/first_timestamps.h"
#include "demux/lpcm_wav_output.h"
#include "demux/stream.h"
#include "demux/timing_file.h"
#include "demux/vob_demuxer.h"
#include "demux/vobsub_output.h"
#include "dvdnav/dvd_title_reader.h"
#include "platform/mapped_file.h"

namespace cli {

namespace {

const char* kHelp =
    "usage: fennoria demux VIDEO_TS --title N --pgc P [--cell C] [--playback-order]\n"
    "                      STREAMS... [--timing]\n"
    "       fennoria demux FILE.vob STREAMS... [--timing]\n"
    "\n"
    "Cuts a program chain's sectors (or a VOB file that is already cut) into\n"
    "2048-byte packs and writes the payload of each chosen stream to a file of\n"
    "its own. Every output is written under a temporary name and renamed when\n"
    "the whole input has been read. VIDEO_TS may also be a disc image\n"
    "(movie.iso) or, on Linux, a drive (/dev/sr0).\n"
    "\n"
    "For each audio output the delay of that stream against the video is\n"
    "printed: its first time stamp less the video's first, in milliseconds\n"
    "(positive: the audio starts later). Give it to a muxer to put the\n"
    "streams back in sync.\n"
    "\n"
    "streams (at least one; all but --video may be repeated):\n"
    "  --ac3 K=FILE       AC-3 audio stream K (0-7, substream 0x80+K)\n"
    "  --mpeg K=FILE      MPEG audio stream K (0-31, stream id 0xC0+K)\n"
    "  --dts K=FILE       DTS audio stream K (0-7, substream 0x88+K), raw\n"
    "  --lpcm K=FILE      LPCM audio stream K (0-7, substream 0xA0+K) as a WAV\n"
    "                     file: 16, 20 or 24 bits, as many channels as it has\n"
    "  --sub K=FILE       subpicture stream K (0-31, substream 0x20+K), raw\n"
    "  --vobsub K=NAME    subpicture stream K as VobSub: NAME.sub (its packs)\n"
    "                     and NAME.idx (size, palette and language from the\n"
    "                     IFO, one time stamp a subtitle, counted from the\n"
    "                     video's first); not for a VOB file\n"
    "  --video FILE       the video stream\n"
    "options:\n"
    "  --title N, --pgc P, --cell C, --playback-order\n"
    "                     the selection, as for 'fennoria dvd'\n"
    "  --timing           also write FILE.timing beside each output: one line\n"
    "                     'position PTS DTS' per packet with a time stamp\n"
    "                     (--ac3, --mpeg, --sub and --video outputs)\n"
    "  -q, --quiet        no progress line and no delays: nothing on stdout\n"
    "\n"
    "examples:\n"
    "  fennoria demux /media/dvd/VIDEO_TS --title 1 --pgc 1 --ac3 0=en.ac3 --mpeg 1=de.mp2\n"
    "    en.ac3: delay 12 ms\n"
    "    de.mp2: delay -21 ms\n"
    "  fennoria demux /media/dvd/VIDEO_TS --title 1 --pgc 1 --sub 0=en.sub --timing\n"
    "  fennoria demux /media/dvd/VIDEO_TS --title 1 --pgc 1 --lpcm 1=pcm.wav --vobsub 0=en\n"
    "  fennoria demux title.vob --ac3 0=audio.ac3 --video video.m2v\n"
    "  fennoria demux movie.iso --title 1 --pgc 1 --ac3 0=en.ac3\n";

// The demultiplexer's own kinds, then the tool's.
enum Kind { kAc3 = 0, kMpeg = 2, kSub = 3, kDts, kLpcm, kVobSub };

struct Choice {
  Kind kind;
  int number;
  std::string file;
};

// A VOB file is mapped and demultiplexed in place, in pieces of 512 packs:
// copying the bytes out of the system's cache would be most of the work.
// Other inputs (and a file the system will not map) are read by two
// threads, in chunks of 512 packs, up to six chunks ahead of the
// demultiplexer, so that two processors share the copying. Each output
// collects its packets into blocks of 1 MiB before writing them.
constexpr int kReaders = 2;
constexpr std::size_t kChunkSize = 512 * VobDemuxer::packSize;
constexpr int kChunksAhead = 6;
constexpr std::size_t kOutputBuffer = 1024 * 1024;

// Reads at an offset of the selected range, through a reader of its own.
ReadAhead::Source discSource(std::shared_ptr<Disc> disc) {
  return [disc](std::int64_t offset, std::uint8_t* buffer, std::int32_t want, std::string* where) {
    DvdTitleReader& reader = *disc->reader;
    reader.seekRange(offset);
    std::int32_t got = reader.readSectors(buffer, want);
    *where = disc->currentVob();
    return got;
  };
}

ReadAhead::Source fileSource(std::shared_ptr<mpdx::IFileStream> file, const std::string& name) {
  return [file, name](std::int64_t offset, std::uint8_t* buffer, std::int32_t want,
                      std::string* where) {
    file->seek(offset);
    *where = name;
    // Asked again until full: a short read is not yet the end of the file.
    std::int32_t got = 0;
    while (got < want) {
      std::int32_t n = file->read(buffer + got, static_cast<std::uint32_t>(want - got));
      if (n <= 0) break;
      got += n;
    }
    return got;
  };
}

// The outputs' names for a message: "a.ac3" or "a.ac3, b.mp2".
std::string describe(const std::vector<std::string>& names) {
  std::string text;
  for (const auto& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

Choice parseChoice(const std::string& option, const std::string& text, Kind kind, int high) {
  std::size_t equals = text.find('=');
  std::int64_t number = 0;
  if (equals == std::string::npos || equals + 1 == text.size() ||
      !parseNumber(text.substr(0, equals), &number) || number < 0 || number > high)
    usage("demux", option + " takes K=FILE with K from 0 to " + std::to_string(high) +
                       ", not '" + text + "'");
  return {kind, static_cast<int>(number), text.substr(equals + 1)};
}

// The key of an audio choice's first time stamp.
int timestampKey(const Choice& c) {
  switch (c.kind) {
    case kAc3: return FirstTimestamps::ac3(c.number);
    case kDts: return FirstTimestamps::privateStream(0x88 + c.number);
    case kLpcm: return FirstTimestamps::privateStream(0xA0 + c.number);
    default: return FirstTimestamps::mpegAudio(c.number);
  }
}

// One line per audio output: its delay against the video.
void printDelays(const std::vector<Choice>& choices, const FirstTimestamps& timestamps) {
  std::optional<std::int64_t> video = timestamps.first(FirstTimestamps::video);
  for (const Choice& c : choices) {
    if (c.kind == kSub || c.kind == kVobSub) continue;
    std::optional<std::int64_t> audio = timestamps.first(timestampKey(c));
    if (audio && video)
      std::printf("%s: delay %lld ms\n", c.file.c_str(),
                  static_cast<long long>(delayMilliseconds(*audio, *video)));
    else
      std::printf("%s: delay unknown (%s)\n", c.file.c_str(),
                  audio ? "no video time stamp" : "no time stamp of this stream");
  }
}

// What the .idx of subpicture stream `number` says besides the times: the
// title set's frame size and the stream's language, the chain's palette.
VobSubIndex vobSubIndex(const Disc& disc, std::int32_t titleSet, std::int32_t pgc, int number) {
  const auto& set = *disc.reader->titleSets[static_cast<std::size_t>(titleSet - 1)];
  const auto& attributes = set.attributes.title;
  VobSubIndex index;
  index.number = number;
  pictureSize(attributes.video.tvsystem, attributes.video.picturesize, &index.width,
              &index.height);
  const auto& palette = set.programchains[static_cast<std::size_t>(pgc - 1)].palette;
  for (std::size_t i = 0; i < palette.size(); ++i)
    index.palette[i] = yCrCbToRgb(palette[i].y, palette[i].cr, palette[i].cb);
  if (static_cast<std::size_t>(number) < attributes.subpictures.size())
    index.language = languageText(attributes.subpictures[static_cast<std::size_t>(number)].specificcode);
  return index;
}

struct Sink {
  std::unique_ptr<PackSink> sink;
  std::string name;  // for messages
};

// The tool's own output for a DTS, LPCM or VobSub choice, its files
// registered in `outputs` and named in `finals` (a VobSub choice has two,
// NAME.idx and NAME.sub).
Sink makeSink(const Choice& c, OutputSet& outputs, std::vector<std::string>& finals,
              const Disc* disc, std::int32_t titleSet, std::int32_t pgc) {
  if (c.kind == kVobSub) {
    std::string idx = outputs.add(c.file + ".idx", false);
    std::string sub = outputs.add(c.file + ".sub", false);
    finals.push_back(c.file + ".idx");
    finals.push_back(c.file + ".sub");
    return {std::make_unique<VobSubOutput>(idx, sub, vobSubIndex(*disc, titleSet, pgc, c.number),
                                           kOutputBuffer),
            c.file + ".sub"};
  }
  std::string temp = outputs.add(c.file, false);
  finals.push_back(c.file);
  if (c.kind == kDts) return {std::make_unique<DtsOutput>(temp, c.number, kOutputBuffer), c.file};
  return {std::make_unique<LpcmWavOutput>(temp, c.number, kOutputBuffer), c.file};
}

void finishSinks(std::vector<Sink>& sinks, const FirstTimestamps& timestamps) {
  for (Sink& s : sinks) {
    if (auto* vobsub = dynamic_cast<VobSubOutput*>(s.sink.get()))
      vobsub->setOrigin(timestamps.first(FirstTimestamps::video));
    s.sink->finish();
  }
}

bool anyWriteFailed(const std::vector<Sink>& sinks) {
  for (const Sink& s : sinks)
    if (s.sink->writeFailed()) return true;
  return false;
}

void warnNoPacket(const std::string& name) {
  std::fprintf(stderr, "fennoria: %s: warning: the input holds no packet of this stream\n",
               name.c_str());
}

// Shows `count` whole packs, the first the `first`-th of the input, to every
// sink; an LPCM stream that cannot be followed fails the run.
void feedSinks(std::vector<Sink>& sinks, const std::uint8_t* packs, std::int32_t count,
               std::int64_t first) {
  for (Sink& s : sinks) {
    try {
      for (std::int32_t i = 0; i < count; ++i)
        s.sink->take(packs + std::size_t{VobDemuxer::packSize} * static_cast<std::size_t>(i),
                     first + i);
    } catch (const LpcmFormatError& error) {
      fail(s.name, error.what());
    }
  }
}

}  // namespace

int runDemux(const std::vector<std::string>& argv) {
  Args args("demux", argv,
            {{"--title", "-t", true, false},
             {"--pgc", "-p", true, false},
             {"--cell", "-c", true, false},
             {"--ac3", nullptr, true, true},
             {"--mpeg", nullptr, true, true},
             {"--sub", nullptr, true, true},
             {"--dts", nullptr, true, true},
             {"--lpcm", nullptr, true, true},
             {"--vobsub", nullptr, true, true},
             {"--video", nullptr, true, false},
             {"--playback-order", nullptr, false, false},
             {"--timing", nullptr, false, false}});
  if (args.help) return printHelp(kHelp);
  if (args.positional.size() != 1)
    usage("demux", "give exactly one VIDEO_TS folder, disc image or VOB file");
  std::vector<Choice> choices;
  for (const auto& v : args.values("--ac3")) choices.push_back(parseChoice("--ac3", v, kAc3, 7));
  for (const auto& v : args.values("--mpeg")) choices.push_back(parseChoice("--mpeg", v, kMpeg, 31));
  for (const auto& v : args.values("--sub")) choices.push_back(parseChoice("--sub", v, kSub, 31));
  for (const auto& v : args.values("--dts")) choices.push_back(parseChoice("--dts", v, kDts, 7));
  for (const auto& v : args.values("--lpcm")) choices.push_back(parseChoice("--lpcm", v, kLpcm, 7));
  for (const auto& v : args.values("--vobsub"))
    choices.push_back(parseChoice("--vobsub", v, kVobSub, 31));
  for (std::size_t i = 0; i < choices.size(); ++i)
    for (std::size_t j = 0; j < i; ++j)
      if (choices[i].kind == choices[j].kind && choices[i].number == choices[j].number)
        usage("demux", "stream " + std::to_string(choices[i].number) + " chosen twice");
  if (choices.empty() && !args.has("--video"))
    usage("demux", "choose at least one stream (--ac3, --mpeg, --dts, --lpcm, --sub, --vobsub or --video)");
  const bool timing = args.has("--timing");

  const std::string& input = args.positional[0];
  // The input, opened once per reading thread (see ReadAhead).
  std::vector<ReadAhead::Source> readers;
  // A VOB file is read through a mapping where the system gives one.
  std::unique_ptr<platform::MappedFile> mapped;
  std::shared_ptr<Disc> disc;
  std::int64_t total = 0;
  std::int32_t titleSet = 0, pgc = 0;
  if (isDirectory(input) || isDiscImage(input)) {
    if (!args.has("--title")) usage("demux", "missing --title N for a VIDEO_TS folder");
    if (!args.has("--pgc")) usage("demux", "missing --pgc P for a VIDEO_TS folder");
    titleSet = args.number("--title", 1, 99, 0);
    pgc = args.number("--pgc", 1, 9999, 0);
    std::int32_t cell = args.number("--cell", 1, 9999, 0);
    for (int i = 0; i < kReaders; ++i) {
      disc = std::make_shared<Disc>(input);
      disc->select(titleSet, pgc, cell, args.has("--playback-order"));
      readers.push_back(discSource(disc));
    }
    total = disc->reader->getRangeLength();
  } else {
    if (args.has("--title") || args.has("--pgc") || args.has("--cell") ||
        args.has("--playback-order"))
      usage("demux",
            "--title, --pgc, --cell and --playback-order are for a VIDEO_TS folder, not a file");
    if (!isRegularFile(input)) fail(input, "no such file or folder");
    if (args.has("--vobsub"))
      usage("demux", "--vobsub needs a VIDEO_TS folder or disc image: a VOB file has no IFO "
                     "to give the palette, frame size and language");
    mapped = platform::MappedFile::open(input);
    if (mapped) total = mapped->size();
    for (int i = 0; i < kReaders && !mapped; ++i) {
      auto file = std::make_shared<mpdx::IFileStream>(input.c_str());
      total = file->getLength();
      if (total < 0 || file->tell() < 0) fail(input, "cannot be opened");
      readers.push_back(fileSource(file, baseName(input)));
    }
  }

  // The outputs: the demultiplexer writes to temporary names, renamed only
  // when the whole input was read. `outputs` outlives the demultiplexer,
  // which must close its files before they are renamed or removed.
  OutputSet outputs;
  std::vector<std::string> finals;
  FirstTimestamps timestamps;
  std::vector<Sink> sinks;
  {
    VobDemuxer demuxer(nullptr);
    demuxer.setOutputBuffer(kOutputBuffer);
    for (const auto& c : choices) {
      if (c.kind != kAc3 && c.kind != kMpeg && c.kind != kSub) continue;
      std::string temp = outputs.add(c.file, timing);
      finals.push_back(c.file);
      int result = c.kind == 3 ? demuxer.AddSubtitle(temp.c_str(), c.number, timing)
                               : demuxer.AddAudio(temp.c_str(), c.kind, c.number, timing);
      if (result != 0) fail(c.file, "cannot be set up as an output");
    }
    if (args.has("--video")) {
      std::string temp = outputs.add(args.value("--video"), timing);
      finals.push_back(args.value("--video"));
      demuxer.AddVideo(temp.c_str(), timing);
    }
    for (const auto& c : choices)
      if (c.kind == kDts || c.kind == kLpcm || c.kind == kVobSub)
        sinks.push_back(makeSink(c, outputs, finals, disc.get(), titleSet, pgc));

    try {
      ProgressLine progress(args.quiet, total);
      std::int64_t done = 0;
      auto demultiplex = [&](const std::uint8_t* bytes, std::int32_t count) {
        demuxer.Demultiplex(bytes, count);
        const std::int32_t packs = count / VobDemuxer::packSize;
        timestamps.scan(bytes, static_cast<std::size_t>(packs));
        feedSinks(sinks, bytes, packs, done / VobDemuxer::packSize);
        done += count;
      };
      auto readFailed = [&](const std::string& where, std::int64_t at) {
        fail(disc ? disc->folder + "/" + where : input,
             "read failed " + std::to_string(total - at) +
                 " bytes before the end (truncated or unreadable file?)");
      };
      if (mapped) {
        const std::string name = baseName(input);
        for (std::int64_t at = 0; at < total; at += static_cast<std::int64_t>(kChunkSize)) {
          demultiplex(mapped->bytes() + at,
                      static_cast<std::int32_t>(std::min<std::int64_t>(
                          static_cast<std::int64_t>(kChunkSize), total - at)));
          // Bytes the system could no longer give were read as zeros.
          if (mapped->missingFrom() >= 0) readFailed(name, mapped->missingFrom());
          mapped->doneBefore(done);
          progress.update(done, name);
        }
      } else {
        ReadAhead chunks(readers, total, kChunkSize, kChunksAhead);
        while (const ReadAhead::Chunk* chunk = chunks.next()) {
          demultiplex(chunk->bytes.data(), chunk->count);
          if (chunk->count < chunk->want) readFailed(chunk->where, done);
          progress.update(done, chunk->where);
        }
      }
      progress.finish();
      if (demuxer.heldCount() != 0)
        fail(input, "truncated: ends " + std::to_string(demuxer.heldCount()) +
                        " bytes into a 2048-byte pack");
      demuxer.CloseAll();
      finishSinks(sinks, timestamps);
      if (demuxer.writeFailed() || anyWriteFailed(sinks))
        fail(describe(finals), "could not be written completely (is the disk full?)");
    } catch (...) {
      demuxer.CloseAll();
      timing::closeAllTimingFiles();
      throw;
    }
  }
  timing::closeAllTimingFiles();
  outputs.commitAll();
  for (const auto& name : finals)
    if (isRegularFile(name) && std::filesystem::file_size(std::filesystem::u8path(name)) == 0)
      warnNoPacket(name);
  if (!args.quiet) printDelays(choices, timestamps);
  return 0;
}

}  // namespace cli
