// fennoria demux: an extraction over a disc title's or a program chain's
// sectors, or over a VOB file that is already cut, writing the chosen streams (and their timing
// files) and each audio stream's delay.
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include "cli/cli.h"
#include "cli/inputs.h"
#include "cli/read_ahead.h"
#include "cli/selection.h"
#include "demux/program_stream.h"
#include "demux/stream.h"
#include "disc/scrambled_packs.h"
#include "dvdnav/dvd_title_reader.h"
#include "demux/timing_file.h"
#include "extract/audio_frames.h"
#include "extract/extraction.h"
#include "platform/mapped_file.h"

namespace cli {

namespace {

const char* kHelp =
    "usage: fennoria demux VIDEO_TS --title T [--chapters A[-B]] STREAMS... [--timing]\n"
    "       fennoria demux VIDEO_TS --titleset N --pgc P [--cell C] [--range]\n"
    "                      STREAMS... [--timing]\n"
    "       fennoria demux FILE.vob STREAMS... [--timing]\n"
    "\n"
    "Cuts a disc title's sectors (as 'fennoria dvd' writes them), a program\n"
    "chain's, or a VOB file that is already cut, into 2048-byte packs and\n"
    "writes the payload of each chosen stream to a file of its own. Every\n"
    "output is written under a temporary name and renamed when the whole input\n"
    "has been read. VIDEO_TS may also be a disc image (movie.iso) or, on\n"
    "Linux, a drive (/dev/sr0).\n"
    "\n"
    "For each audio output the delay of that stream against the video is\n"
    "printed: its first time stamp less the video's first, in milliseconds\n"
    "(positive: the audio starts later). Give it to a muxer to put the\n"
    "streams back in sync.\n"
    "\n"
    "tracks, as 'fennoria info' lists them (N from 1, or a two-letter\n"
    "language: the first track in it), resolved through the chains' stream\n"
    "control tables; both may be repeated:\n"
    "  --audio N=FILE     audio track N in its own format: AC-3, DTS or MPEG\n"
    "                     audio raw, LPCM as a WAV file\n"
    "  --subtitle N=NAME  subtitle track N as VobSub (NAME.idx and NAME.sub),\n"
    "                     the stream for the title's aspect (wide on a 16:9\n"
    "                     title) unless --subtitle-view says another\n"
    "  --subtitle-view V  4:3, wide, letterbox or pan-scan\n"
    "streams by stream id, for any input (all but --video may be repeated):\n"
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
    "  --title T, --chapters A[-B], --titleset N, --pgc P, --cell C, --range\n"
    "                     the selection, as for 'fennoria dvd'\n"
    "  --timing           also write FILE.timing beside each output: one line\n"
    "                     'position PTS DTS' per packet with a time stamp\n"
    "                     (AC-3, MPEG audio, --sub and --video outputs)\n"
    "  -q, --quiet        no progress line and no delays: nothing on stdout\n"
    "\n"
    "examples:\n"
    "  fennoria demux /media/dvd --title 1 --audio en=en.ac3 --audio 2=de.mp2\n"
    "    en.ac3: delay 12 ms\n"
    "    de.mp2: delay -21 ms\n"
    "  fennoria demux movie.iso --title 2 --chapters 4 --subtitle en=en --video v.m2v\n"
    "  fennoria demux /media/dvd -T 1 --pgc 1 --ac3 0=en.ac3 --sub 0=en.sub --timing\n"
    "  fennoria demux /media/dvd -T 1 --pgc 1 --lpcm 1=pcm.wav --vobsub 0=en\n"
    "  fennoria demux title.vob --ac3 0=audio.ac3 --video video.m2v\n";

// A stream the user chose: one of the extraction's kinds, or (without a
// kind) a subpicture stream as VobSub, in the language of the track it was
// chosen as (empty: the title set's subpicture record of its number).
struct Choice {
  std::optional<StreamKind> kind;
  int number;
  std::string file;
  std::optional<std::string> language;
};

// The stream options, in the order their outputs are set up and their
// delays printed, with the highest number each takes.
struct StreamOption {
  const char* name;
  std::optional<StreamKind> kind;
  int high;
};
const StreamOption kStreamOptions[] = {
    {"--ac3", StreamKind::Ac3, 7},   {"--mpeg", StreamKind::MpegAudio, 31},
    {"--sub", StreamKind::Subpicture, 31}, {"--dts", StreamKind::Dts, 7},
    {"--lpcm", StreamKind::Lpcm, 7}, {"--vobsub", std::nullopt, 31}};

// A VOB file is mapped and demultiplexed in place, in pieces of 512 packs:
// copying the bytes out of the system's cache would be most of the work.
// Other inputs (and a file the system will not map) are read by two
// threads, in chunks of 512 packs, up to six chunks ahead of the
// extraction, so that two processors share the copying. Each output
// collects its packets into blocks of 1 MiB before writing them.
constexpr int kReaders = 2;
constexpr std::size_t kChunkSize = 512 * ps::kPackSize;
constexpr int kChunksAhead = 6;
constexpr std::size_t kOutputBuffer = 1024 * 1024;

// The input as the read loop sees it: a mapped VOB file, or sources for
// the reading threads (a disc's selection, or a VOB file read plainly).
struct Input {
  std::unique_ptr<platform::MappedFile> mapped;
  std::vector<ReadAhead::Source> readers;
  std::shared_ptr<Disc> disc;  // the last of the readers' discs, for the IFO
  std::int64_t total = 0;
  Selection selection;
  // The title set and the first chain of the selection: frame size,
  // languages and palette of VobSub outputs.
  const dvdnav::TitleSetInfo* titleSet = nullptr;
  const dvdnav::ProgramChain* chain = nullptr;
};

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

Choice parseChoice(const StreamOption& option, const std::string& text) {
  std::size_t equals = text.find('=');
  std::int64_t number = 0;
  if (equals == std::string::npos || equals + 1 == text.size() ||
      !parseNumber(text.substr(0, equals), &number) || number < 0 || number > option.high)
    usage("demux", std::string(option.name) + " takes K=FILE with K from 0 to " +
                       std::to_string(option.high) + ", not '" + text + "'");
  return {option.kind, static_cast<int>(number), text.substr(equals + 1), std::nullopt};
}

std::vector<Choice> parseChoices(const Args& args) {
  std::vector<Choice> choices;
  for (const StreamOption& option : kStreamOptions)
    for (const auto& value : args.values(option.name)) choices.push_back(parseChoice(option, value));
  if (choices.empty() && !args.has("--video") && !args.has("--audio") && !args.has("--subtitle"))
    usage("demux", "choose at least one stream (--audio, --subtitle, --ac3, --mpeg, --dts, "
                   "--lpcm, --sub, --vobsub or --video)");
  return choices;
}

// "N=FILE" of a track option: the track's number or language, and the file.
std::pair<std::string, std::string> trackAndFile(const char* option, const std::string& text) {
  std::size_t equals = text.find('=');
  if (equals == std::string::npos || equals == 0 || equals + 1 == text.size())
    usage("demux", std::string(option) + " takes N=FILE with N a track number from 1 or a "
                   "two-letter language, not '" + text + "'");
  return {text.substr(0, equals), text.substr(equals + 1)};
}

// The extraction's kind for an audio track's coding.
StreamKind audioKind(const dvdnav::AudioTrack& track) {
  switch (track.attributes.codingmode) {
    case dvdnav::kCodingAc3: return StreamKind::Ac3;
    case dvdnav::kCodingDts: return StreamKind::Dts;
    case dvdnav::kCodingLpcm: return StreamKind::Lpcm;
    default: return StreamKind::MpegAudio;
  }
}

// The --audio and --subtitle choices, resolved through the selection's
// chains to the streams they play.
std::vector<Choice> trackChoices(const Args& args, const Input& in) {
  std::vector<Choice> choices;
  if (!args.has("--audio") && !args.has("--subtitle")) return choices;
  const SelectionTracks tracks = selectionTracks(*in.disc, in.selection);
  for (const auto& value : args.values("--audio")) {
    auto [which, file] = trackAndFile("--audio", value);
    const dvdnav::AudioTrack& track = findAudioTrack(tracks, which);
    choices.push_back({audioKind(track), track.stream, file, std::nullopt});
  }
  const dvdnav::SubtitleView view = subtitleView(args, tracks);
  for (const auto& value : args.values("--subtitle")) {
    auto [which, name] = trackAndFile("--subtitle", value);
    const dvdnav::SubtitleTrack& track = findSubtitleTrack(tracks, which);
    choices.push_back({std::nullopt, dvdnav::subtitleStreamId(track, view) - 0x20, name,
                       languageText(track.attributes.specificcode)});
  }
  return choices;
}

// The pack stream a choice by id takes: a substream of private stream 1,
// an MPEG audio stream or a subpicture substream.
std::int32_t streamIdOf(const Choice& choice) {
  if (!choice.kind) return 0x20 + choice.number;  // --vobsub
  switch (*choice.kind) {
    case StreamKind::Ac3: return 0x80 + choice.number;
    case StreamKind::Dts: return 0x88 + choice.number;
    case StreamKind::Lpcm: return 0xA0 + choice.number;
    case StreamKind::MpegAudio: return 0xC0 + choice.number;
    default: return 0x20 + choice.number;
  }
}

// On a disc, a stream chosen by its id must be one the selection plays, as
// its IFO tells: otherwise the run would write an empty file.
void requirePlayedStreams(const std::vector<Choice>& choices, const Input& in) {
  if (!in.disc || choices.empty()) return;
  const SelectionTracks tracks = selectionTracks(*in.disc, in.selection);
  for (const Choice& choice : choices)
    for (const StreamOption& option : kStreamOptions)
      if (option.kind == choice.kind)
        requireStream(tracks, streamIdOf(choice),
                      std::string(option.name) + " " + std::to_string(choice.number));
}

void refuseRepeats(const std::vector<Choice>& choices) {
  for (std::size_t i = 0; i < choices.size(); ++i)
    for (std::size_t j = 0; j < i; ++j)
      if (choices[i].kind == choices[j].kind && choices[i].number == choices[j].number)
        usage("demux", "stream " + std::to_string(choices[i].number) + " chosen twice");
}

// A VIDEO_TS folder, disc image or drive: its selection, opened once per
// reading thread.
Input openDisc(const Args& args, const std::string& input) {
  Input in;
  in.selection = parseSelection(args, true);
  for (int i = 0; i < kReaders; ++i) {
    in.disc = std::make_shared<Disc>(input);
    select(*in.disc, in.selection);
    in.readers.push_back(discSource(in.disc));
  }
  const DvdTitleReader& reader = *in.disc->reader;
  in.total = reader.getRangeLength();
  if (in.selection.title != 0) {
    in.titleSet = reader.titleSetInfo(reader.titleSetNumber);
  } else {
    in.titleSet = reader.titleSets[static_cast<std::size_t>(in.selection.titleSet - 1)].get();
  }
  in.chain = &in.titleSet->programchains[static_cast<std::size_t>(reader.pgcNumber)];
  return in;
}

// A VOB file: mapped where the system gives a mapping, else opened once per
// reading thread.
Input openVobFile(const Args& args, const std::string& input) {
  bool selected = args.has("--audio") || args.has("--subtitle") || args.has("--subtitle-view");
  for (const OptionDef& option : selectionOptions()) selected = selected || args.has(option.name);
  if (selected)
    usage("demux", "--title, --chapters, --titleset, --pgc, --cell, --range, --playback-order, "
                   "--audio, --subtitle and --subtitle-view are for a VIDEO_TS folder, not a file");
  if (!isRegularFile(input)) fail(input, "no such file or folder");
  if (args.has("--vobsub"))
    usage("demux", "--vobsub needs a VIDEO_TS folder or disc image: a VOB file has no IFO "
                   "to give the palette, frame size and language");
  Input in;
  in.mapped = platform::MappedFile::open(input);
  if (in.mapped) in.total = in.mapped->size();
  for (int i = 0; i < kReaders && !in.mapped; ++i) {
    auto file = std::make_shared<mpdx::IFileStream>(input.c_str());
    in.total = file->getLength();
    if (in.total < 0 || file->tell() < 0) fail(input, "cannot be opened");
    in.readers.push_back(fileSource(file, baseName(input)));
  }
  return in;
}

// What the .idx of a subpicture choice says besides the times: the title
// set's frame size, the track's (or stream's) language, the palette of the
// selection's first chain.
VobSubIndex vobSubIndex(const Input& in, const Choice& choice) {
  const auto& attributes = in.titleSet->attributes.title;
  VobSubIndex index;
  index.number = choice.number;
  pictureSize(attributes.video.tvsystem, attributes.video.picturesize, &index.width,
              &index.height);
  const auto& palette = in.chain->palette;
  for (std::size_t i = 0; i < palette.size(); ++i)
    index.palette[i] = yCrCbToRgb(palette[i].y, palette[i].cr, palette[i].cb);
  if (choice.language)
    index.language = *choice.language;
  else if (static_cast<std::size_t>(choice.number) < attributes.subpictures.size())
    index.language =
        languageText(attributes.subpictures[static_cast<std::size_t>(choice.number)].specificcode);
  return index;
}

// A raw audio output to be cut to its whole frames once written.
struct AudioCut {
  AudioCoding coding;
  std::string file;    // the temporary file
  std::string timing;  // its timing file, or empty
  std::string name;    // for messages
};

std::optional<AudioCoding> rawAudioCoding(StreamKind kind) {
  switch (kind) {
    case StreamKind::Ac3: return AudioCoding::Ac3;
    case StreamKind::Dts: return AudioCoding::Dts;
    case StreamKind::MpegAudio: return AudioCoding::MpegAudio;
    default: return std::nullopt;
  }
}

// Sets up every output under a temporary name of `outputs`, its final name
// kept in `finals` (a VobSub choice has two, NAME.idx and NAME.sub); the raw
// audio outputs that are files are listed in `cuts`.
void addOutputs(Extraction& extraction, OutputSet& outputs, std::vector<std::string>& finals,
                std::vector<AudioCut>& cuts, const std::vector<Choice>& choices, const Args& args,
                const Input& in) {
  const bool timing = args.has("--timing");
  auto addOne = [&](const StreamChoice& stream, bool withTiming) {
    const std::string temp = outputs.add(stream.name, withTiming);
    finals.push_back(stream.name);
    extraction.add(stream, temp, withTiming);
    const std::optional<AudioCoding> coding = rawAudioCoding(stream.kind);
    if (coding && isRegularFile(temp))
      cuts.push_back({*coding, temp, withTiming ? timing::timingFileName(temp) : "", stream.name});
  };
  for (const Choice& c : choices) {
    if (!c.kind || *c.kind == StreamKind::Dts || *c.kind == StreamKind::Lpcm) continue;
    addOne({*c.kind, c.number, c.file}, timing);
  }
  if (args.has("--video")) addOne({StreamKind::Video, 0, args.value("--video")}, timing);
  for (const Choice& c : choices) {
    if (c.kind && *c.kind != StreamKind::Dts && *c.kind != StreamKind::Lpcm) continue;
    if (c.kind) {
      addOne({*c.kind, c.number, c.file}, false);
      continue;
    }
    const std::string idx = outputs.add(c.file + ".idx", false);
    const std::string sub = outputs.add(c.file + ".sub", false);
    finals.push_back(c.file + ".idx");
    finals.push_back(c.file + ".sub");
    extraction.addVobSub(c.file + ".sub", idx, sub, vobSubIndex(in, c));
  }
}

[[noreturn]] void readFailed(const std::string& where, std::int64_t missing) {
  fail(where, "read failed " + std::to_string(missing) +
                  " bytes before the end (truncated or unreadable file?)");
}

// Feeds the whole input to the extraction, in input order.
void extractAll(Extraction& extraction, Input& in, const std::string& input, bool quiet) {
  ProgressLine progress(quiet, in.total);
  std::int64_t done = 0;
  auto feed = [&](const std::uint8_t* bytes, std::int32_t count, const std::string& where) {
    // A disc may be scrambled from any pack on, not only from its first.
    const std::int64_t scrambled =
        disc::firstScrambledPack(bytes, static_cast<std::size_t>(count) / ps::kPackSize);
    if (scrambled >= 0 && in.disc)
      fail(in.disc->folder,
           disc::scrambledMessage(in.disc->vobAt(done + scrambled * std::int64_t{ps::kPackSize})));
    if (scrambled >= 0) fail(input, disc::scrambledMessage(where));
    extraction.feed(bytes, static_cast<std::size_t>(count));
    done += count;
  };
  if (in.mapped) {
    const std::string name = baseName(input);
    for (std::int64_t at = 0; at < in.total; at += static_cast<std::int64_t>(kChunkSize)) {
      feed(in.mapped->bytes() + at,
           static_cast<std::int32_t>(
               std::min<std::int64_t>(static_cast<std::int64_t>(kChunkSize), in.total - at)),
           name);
      // Bytes the system could no longer give were read as zeros.
      if (in.mapped->missingFrom() >= 0) readFailed(input, in.total - in.mapped->missingFrom());
      in.mapped->doneBefore(done);
      progress.update(done, name);
    }
  } else {
    ReadAhead chunks(in.readers, in.total, kChunkSize, kChunksAhead);
    while (const ReadAhead::Chunk* chunk = chunks.next()) {
      feed(chunk->bytes.data(), chunk->count, chunk->where);
      if (chunk->count < chunk->want)
        readFailed(in.disc ? in.disc->folder + "/" + chunk->where : input, in.total - done);
      progress.update(done, chunk->where);
    }
  }
  progress.finish();
}

void warnNoPacket(const std::string& name) {
  std::fprintf(stderr, "fennoria: %s: warning: the input holds no packet of this stream\n",
               name.c_str());
}

// The delays, on stdout, or on stderr when stdout carries the stream.
void printDelays(const Extraction& extraction, std::FILE* to) {
  for (const Extraction::Delay& delay : extraction.delays()) {
    if (delay.milliseconds)
      std::fprintf(to, "%s: delay %lld ms\n", delay.name.c_str(),
                   static_cast<long long>(*delay.milliseconds));
    else
      std::fprintf(to, "%s: delay unknown (%s)\n", delay.name.c_str(),
                   delay.unknownBecause.c_str());
  }
}

// "-" as an output is standard output, for a run of exactly one output
// without timing files; binary data never go to a terminal.
bool checkStandardOutput(const std::vector<Choice>& choices, const Args& args) {
  std::size_t outputs = choices.size() + (args.has("--video") ? 1 : 0);
  bool dash = args.value("--video") == "-";
  for (const Choice& c : choices) dash = dash || c.file == "-";
  if (!dash) return false;
  if (outputs != 1) usage("demux", "only a run of one output can write it to standard output ('-')");
  if (args.has("--timing")) usage("demux", "--timing needs a file name, not standard output ('-')");
  if (stdoutIsTerminal())
    usage("demux", "will not write binary data to a terminal; give a file name or a pipe");
  return true;
}

}  // namespace

int runDemux(const std::vector<std::string>& argv) {
  std::vector<OptionDef> options = selectionOptions();
  options.insert(options.end(), {{"--audio", nullptr, true, true},
                                 {"--subtitle", nullptr, true, true},
                                 {"--subtitle-view", nullptr, true, false},
                                 {"--ac3", nullptr, true, true},
                                 {"--mpeg", nullptr, true, true},
                                 {"--sub", nullptr, true, true},
                                 {"--dts", nullptr, true, true},
                                 {"--lpcm", nullptr, true, true},
                                 {"--vobsub", nullptr, true, true},
                                 {"--video", nullptr, true, false},
                                 {"--timing", nullptr, false, false}});
  Args args("demux", argv, options);
  if (args.help) return printHelp(kHelp);
  if (args.positional.size() != 1)
    usage("demux", "give exactly one VIDEO_TS folder, disc image or VOB file");
  std::vector<Choice> choices = parseChoices(args);
  const std::string& input = args.positional[0];
  Input in = isDirectory(input) || isDiscImage(input) ? openDisc(args, input)
                                                      : openVobFile(args, input);
  requirePlayedStreams(choices, in);
  const std::vector<Choice> tracks = trackChoices(args, in);
  choices.insert(choices.end(), tracks.begin(), tracks.end());
  refuseRepeats(choices);
  const bool toStdout = checkStandardOutput(choices, args);

  // The outputs are written under temporary names, renamed only when the
  // whole input was read. `outputs` outlives the extraction, whose files
  // must be closed before they are renamed or removed.
  InputFiles inputs;
  if (in.disc)
    in.disc->addInputs(inputs);
  else
    inputs.add(input);
  OutputSet outputs("demux", inputs);
  std::vector<std::string> finals;
  std::vector<AudioCut> cuts;
  {
    Extraction extraction(kOutputBuffer);
    try {
      addOutputs(extraction, outputs, finals, cuts, choices, args, in);
      extractAll(extraction, in, input, args.quiet);
    } catch (const ExtractionError& error) {
      fail(error.file, error.what());
    }
    if (extraction.programStreamPacks() == 0)
      fail(input, "holds no MPEG-2 program stream pack (not a VOB file or DVD title?)");
    if (extraction.trailingBytes() != 0)
      fail(input, "truncated: ends " + std::to_string(extraction.trailingBytes()) +
                      " bytes into a 2048-byte pack");
    extraction.finish();
    if (extraction.writeFailed())
      fail(describe(finals), "could not be written completely (is the disk full?)");
    // A decoder or muxer opens raw audio at its first byte: each file runs
    // from its first whole frame to its last.
    for (const AudioCut& cut : cuts)
      if (!cutToWholeFrames(cut.coding, cut.file, cut.timing))
        fail(cut.name, "could not be cut to its whole frames (" + errnoText() + ")");
    // An empty output is not what was asked for. A VOB file has no IFO to
    // tell beforehand which streams it carries: only now can the run fail,
    // taking every output with it. A disc's streams are known from its IFO.
    const std::vector<std::string> empty = outputs.emptyOutputs();
    if (!in.disc && !empty.empty())
      fail(describe(empty), std::string("the input holds no packet of ") +
                                (empty.size() == 1 ? "this stream" : "these streams") +
                                " (nothing written)");
    outputs.commitAll();
    for (const auto& name : empty) warnNoPacket(name);
    if (!args.quiet) printDelays(extraction, toStdout ? stderr : stdout);
  }
  return 0;
}

}  // namespace cli
