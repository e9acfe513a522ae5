// The streams sample's DTS, LPCM and subpicture streams through the tool's
// own outputs, against what ffmpeg, ffprobe, libdvdread and mkvtoolnix make
// of the same streams.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "cli/json.h"
#include "cli/samples.h"
#include "cli/tool_runner.h"
#include "support/scratch.h"

using namespace cli_test;
using testing_support::readWholeFile;
using testing_support::ScratchDir;

namespace {

const std::string kStreams = kSamples + "/dvd-streams/VIDEO_TS";
const std::string kVob = kStreams + "/VTS_01_1.VOB";

bool haveFfmpeg() { return commandExists("ffmpeg") && commandExists("ffprobe"); }
#define NEED_FFMPEG() \
  if (!haveFfmpeg()) GTEST_SKIP() << "ffmpeg is not installed (apt-get install ffmpeg)"

Result demux(int pgc, const std::vector<std::string>& streams, const std::string& disc = kStreams) {
  std::vector<std::string> args = {"demux", disc, "--titleset", "1", "--pgc", std::to_string(pgc), "-q"};
  args.insert(args.end(), streams.begin(), streams.end());
  return runTool(args);
}

// ffmpeg's reading of substream `id` of `vob`, in `format` (s16le, s24le,
// or "dts" for the stream copied as it is).
std::string ffmpegStream(const std::string& vob, const std::string& id, const std::string& format,
                         const ScratchDir& dir) {
  std::string out = dir.path("ffmpeg." + format);
  std::string codec = format == "dts" ? " -c copy" : "";
  Result run = runShell("ffmpeg -v error -y -i " + quote(vob) + " -map 0:i:" + id + codec +
                        " -f " + format + " " + quote(out));
  EXPECT_EQ(run.status, 0) << run.err;
  return readWholeFile(out);
}

// A WAV file's samples as ffmpeg decodes them, in `format`.
std::string wavSamples(const std::string& wav, const std::string& format, const ScratchDir& dir) {
  std::string out = dir.path("wav." + format);
  Result run = runShell("ffmpeg -v error -y -i " + quote(wav) + " -f " + format + " " + quote(out));
  EXPECT_EQ(run.status, 0) << run.err;
  return readWholeFile(out);
}

std::string probe(const std::string& file, const std::string& entries) {
  Result run = runShell("ffprobe -v error " + entries + " -of compact=p=0:nk=1 " + quote(file));
  EXPECT_EQ(run.status, 0) << run.err;
  return run.out;
}

std::vector<double> numbers(const std::string& text) {
  std::vector<double> values;
  std::istringstream in(text);
  std::string line;
  while (std::getline(in, line))
    if (!line.empty()) values.push_back(std::stod(line));
  return values;
}

// The LPCM audio stream `n` as libdvdread reads the title set's attributes:
// "rate|bits|channels", as ffprobe prints them for a WAV file.
std::string ifoFormat(int n) {
  const std::string fact = loadFacts("dvd-streams")["vts.1.audio." + std::to_string(n)];
  long long rate = number(field(fact, "sample_frequency")) == 0 ? 48000 : 96000;
  long long bits = 16 + 4 * number(field(fact, "quantization"));
  long long channels = number(field(fact, "channels")) + 1;
  return std::to_string(rate) + "|" + std::to_string(bits) + "|" + std::to_string(channels) + "\n";
}

// The WAV file's rate, depth and channels as ffprobe reads them.
std::string wavFormat(const std::string& wav) {
  std::string codec = probe(wav, "-show_entries stream=codec_name");
  std::string bits = codec == "pcm_s16le\n" ? "16" : probe(wav, "-show_entries stream=bits_per_raw_sample");
  bits.erase(bits.find_last_not_of('\n') + 1);
  std::string rate = probe(wav, "-show_entries stream=sample_rate");
  std::string channels = probe(wav, "-show_entries stream=channels");
  return rate.substr(0, rate.size() - 1) + "|" + bits + "|" + channels;
}

// Pack offsets (in the joined title VOBs) of the packs whose first packet
// is private stream 1 substream `sub`.
std::vector<std::size_t> packsOf(const std::string& vob, int sub) {
  std::vector<std::size_t> packs;
  for (std::size_t at = 0; at + 2048 <= vob.size(); at += 2048)
    if (packStream(vob.substr(at, 2048)) == (0xBD00 | sub)) packs.push_back(at);
  return packs;
}

// The byte of a pack's LPCM header that holds quantization, rate and
// channels: after the substream byte, frame count and first access unit.
std::size_t lpcmFormatByte(const std::string& vob, std::size_t pack) {
  std::size_t pes = pack + 14 + (static_cast<unsigned char>(vob[pack + 13]) & 7);
  return pes + 9 + static_cast<unsigned char>(vob[pes + 8]) + 5;
}

std::string copyDisc(const ScratchDir& dir) {
  std::filesystem::copy(kStreams, dir.path("VIDEO_TS"));
  return dir.path("VIDEO_TS");
}

void writeFile(const std::string& name, const std::string& bytes) {
  std::ofstream out(name, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

}  // namespace

TEST(ToolStreams, DtsEqualsFfmpegStreamCopy) {
  NEED_FFMPEG();
  ScratchDir dir;
  Result run = demux(1, {"--dts", "0=" + dir.path("a.dts")});
  ASSERT_EQ(run.status, 0) << run.err;
  std::string ours = readWholeFile(dir.path("a.dts"));
  EXPECT_GT(ours.size(), 10000u);
  EXPECT_TRUE(ours == ffmpegStream(kVob, "0x88", "dts", dir)) << "the DTS bytes differ";
  EXPECT_EQ(probe(dir.path("a.dts"), "-show_entries stream=codec_name"), "dts\n");
}

namespace {

// LPCM stream `number` of chain `pgc` as a WAV file: the format the IFO
// gives, `bytes` of samples, all equal to ffmpeg's decoding of the
// stream (substream `id`) into `format`.
void expectLpcmAsWav(int pgc, int number, const char* id, const char* format, std::size_t bytes) {
  ScratchDir dir;
  const std::string wav = dir.path("out.wav");
  Result run = demux(pgc, {"--lpcm", std::to_string(number) + "=" + wav});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(wavFormat(wav), ifoFormat(number));
  std::string ours = wavSamples(wav, format, dir);
  EXPECT_EQ(ours.size(), bytes);
  EXPECT_TRUE(ours == ffmpegStream(kVob, id, format, dir)) << "the samples differ";
}

}  // namespace

TEST(ToolStreams, LpcmSixteenBitStereoAsWav) {
  NEED_FFMPEG();
  expectLpcmAsWav(1, 1, "0xa1", "s16le", 192000);  // one second of 48 kHz 16-bit stereo
  ScratchDir dir;
  ASSERT_EQ(demux(1, {"--lpcm", "1=" + dir.path("b.wav")}).status, 0);
  EXPECT_EQ(probe(dir.path("b.wav"), "-show_entries stream=codec_name"), "pcm_s16le\n");
}

TEST(ToolStreams, LpcmTwentyFourBitStereoAsWav) {
  NEED_FFMPEG();
  expectLpcmAsWav(1, 2, "0xa2", "s24le", 288000);
}

TEST(ToolStreams, LpcmSixChannelsAsWav) {
  NEED_FFMPEG();
  expectLpcmAsWav(2, 3, "0xa3", "s16le", 576000);
}

// The whole WAV files, header and all, as ffmpeg writes the same streams
// decoded into WAV (bit-exact, no metadata): the plain format for 16-bit
// stereo, the extensible one with 24 bits or 6 channels.
TEST(ToolStreams, WavFilesEqualFfmpegsOwn) {
  NEED_FFMPEG();
  struct Stream {
    int pgc, number;
    const char* codec;
  };
  for (const Stream& s : {Stream{1, 1, "pcm_s16le"}, Stream{1, 2, "pcm_s24le"}, Stream{2, 3, "pcm_s16le"}}) {
    SCOPED_TRACE(s.number);
    ScratchDir dir;
    Result run = demux(s.pgc, {"--lpcm", std::to_string(s.number) + "=" + dir.path("ours.wav")});
    ASSERT_EQ(run.status, 0) << run.err;
    Result ffmpeg = runShell("ffmpeg -v error -y -i " + quote(kVob) + " -map 0:i:0xa" +
                             std::to_string(s.number) + " -c:a " + s.codec +
                             " -fflags +bitexact -flags +bitexact -map_metadata -1 -f wav " +
                             quote(dir.path("ffmpeg.wav")));
    ASSERT_EQ(ffmpeg.status, 0) << ffmpeg.err;
    std::string ours = readWholeFile(dir.path("ours.wav"));
    EXPECT_GT(ours.size(), 100000u);
    EXPECT_TRUE(ours == readWholeFile(dir.path("ffmpeg.wav"))) << "the WAV files differ";
  }
}

// Every packet of stream 1 relabelled as 20-bit: groups of two frames no
// longer end where the packets do, so groups run on from one packet into
// the next. Both readers must cut the same bytes the same way.
TEST(ToolStreams, LpcmTwentyBitGroupsAcrossPackets) {
  NEED_FFMPEG();
  ScratchDir dir;
  std::string disc = copyDisc(dir);
  std::string vob = readWholeFile(disc + "/VTS_01_1.VOB");
  std::vector<std::size_t> packs = packsOf(vob, 0xA1);
  ASSERT_GT(packs.size(), 10u);
  for (std::size_t pack : packs) {
    std::size_t at = lpcmFormatByte(vob, pack);
    vob[at] = static_cast<char>((static_cast<unsigned char>(vob[at]) & 0x3F) | 0x40);
  }
  writeFile(disc + "/VTS_01_1.VOB", vob);
  Result run = demux(1, {"--lpcm", "1=" + dir.path("e.wav")}, disc);
  ASSERT_EQ(run.status, 0) << run.err;
  // ffprobe shows the container's 24 bits; the extensible format block
  // (after "fmt ", its size, tag, channels, rates, alignment and depth)
  // says how many are valid.
  EXPECT_EQ(probe(dir.path("e.wav"), "-show_entries stream=bits_per_sample"), "24\n");
  std::string wav = readWholeFile(dir.path("e.wav"));
  ASSERT_GT(wav.size(), 40u);
  EXPECT_EQ(wav.substr(12, 4), "fmt ");
  EXPECT_EQ(static_cast<unsigned char>(wav[38]) | (static_cast<unsigned char>(wav[39]) << 8), 20);
  std::string ours = wavSamples(dir.path("e.wav"), "s24le", dir);
  EXPECT_GT(ours.size(), 200000u);
  EXPECT_TRUE(ours == ffmpegStream(disc + "/VTS_01_1.VOB", "0xa1", "s24le", dir))
      << "the samples differ";
}

// LPCM layouts the sample disc lacks, in VOB files ffmpeg writes: mono,
// 96 kHz, 5.1 and 7.1, at 16 and 24 bits, and each 16-bit one relabelled as
// 20-bit (see above). Every WAV file holds the samples ffmpeg decodes, in
// the format ffprobe reads from it.
TEST(ToolStreams, LpcmLayoutsFfmpegWrites) {
  NEED_FFMPEG();
  struct Layout {
    int rate, channels;
    const char* format;  // ffmpeg's sample format for the encoder
  };
  for (const Layout& l : {Layout{48000, 1, "s16"}, Layout{96000, 1, "s32"}, Layout{96000, 2, "s16"},
                          Layout{48000, 6, "s32"}, Layout{48000, 8, "s32"}, Layout{48000, 8, "s16"}}) {
    const std::string name = std::to_string(l.rate) + "-" + std::to_string(l.channels) + "-" + l.format;
    SCOPED_TRACE(name);
    ScratchDir dir;
    Result made = runShell("ffmpeg -v error -y -f lavfi -i sine=frequency=500:sample_rate=" +
                           std::to_string(l.rate) + ":duration=0.5 -c:a pcm_dvd -sample_fmt " +
                           l.format + " -ac " + std::to_string(l.channels) + " -f dvd " +
                           quote(dir.path("in.vob")));
    ASSERT_EQ(made.status, 0) << made.err;
    std::string vob = readWholeFile(dir.path("in.vob"));
    const bool wide = std::string(l.format) == "s32";
    for (int relabel = 0; relabel <= (wide ? 0 : 1); ++relabel) {
      if (relabel) {
        for (std::size_t pack : packsOf(vob, 0xA0)) {
          std::size_t at = lpcmFormatByte(vob, pack);
          vob[at] = static_cast<char>((static_cast<unsigned char>(vob[at]) & 0x3F) | 0x40);
        }
        writeFile(dir.path("in.vob"), vob);
      }
      const std::string samples = wide || relabel ? "s24le" : "s16le";
      Result run = runTool({"demux", dir.path("in.vob"), "-q", "--lpcm", "0=" + dir.path("out.wav")});
      ASSERT_EQ(run.status, 0) << run.err;
      EXPECT_EQ(probe(dir.path("out.wav"), "-show_entries stream=sample_rate,channels,bits_per_sample"),
                std::to_string(l.rate) + "|" + std::to_string(l.channels) + "|" +
                    (samples == "s24le" ? "24" : "16") + "\n");
      std::string ours = wavSamples(dir.path("out.wav"), samples, dir);
      EXPECT_GT(ours.size(), 10000u);
      EXPECT_TRUE(ours == ffmpegStream(dir.path("in.vob"), "0xa0", samples, dir))
          << "the samples differ" << (relabel ? " (as 20-bit)" : "");
    }
  }
}

// A stream that turns mono halfway: the run stops, says at which pack, and
// leaves no WAV file behind.
TEST(ToolStreams, LpcmFormatChangeStopsAndSaysWhere) {
  ScratchDir dir;
  std::string disc = copyDisc(dir);
  std::string vob = readWholeFile(disc + "/VTS_01_1.VOB");
  std::vector<std::size_t> packs = packsOf(vob, 0xA1);
  ASSERT_GT(packs.size(), 10u);
  std::size_t changed = packs[packs.size() / 2];
  std::size_t at = lpcmFormatByte(vob, changed);
  vob[at] = static_cast<char>(static_cast<unsigned char>(vob[at]) & 0xF8);
  writeFile(disc + "/VTS_01_1.VOB", vob);
  Result run = demux(1, {"--lpcm", "1=" + dir.path("f.wav")}, disc);
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << run.err;
  long long first = number(field(loadFacts("dvd-streams")["vts.1.pgc.1.cell.1.sectors"], "first"));
  const long long pack = static_cast<long long>(changed / 2048) - first;
  EXPECT_NE(run.err.find("f.wav: LPCM stream 1: the format changes at pack " + std::to_string(pack) +
                         " (byte " + std::to_string(pack * 2048) + " of the input) from 48000 Hz, "
                         "16 bits, 2 channels to 48000 Hz, 16 bits, 1 channel"),
            std::string::npos)
      << run.err;
  EXPECT_FALSE(std::filesystem::exists(dir.path("f.wav")));
  for (const auto& entry : std::filesystem::directory_iterator(dir.path("")))
    EXPECT_EQ(entry.path().filename().string().find(".partial"), std::string::npos);
}

// Chain 2's stream control table gives it no subpicture stream (libdvdread
// lists no control entry): a choice of one by its id is refused before
// anything is written, naming the tracks the chain has. Its table does give
// it DTS stream 0 and LPCM stream 1, of which the chain holds no packet:
// those are written empty, each with a warning.
TEST(ToolStreams, StreamTheChainDoesNotPlayIsRefused) {
  const Facts facts = loadFacts("dvd-streams");
  for (int s = 0; s < 32; ++s)
    ASSERT_EQ(facts.count("vts.1.pgc.2.subp_control." + std::to_string(s)), 0u);
  ScratchDir dir;
  Result refused = demux(2, {"--dts", "0=" + dir.path("none.dts"), "--vobsub", "0=" + dir.path("none")});
  EXPECT_EQ(refused.status, 1) << refused.err;
  EXPECT_NE(refused.err.find("program chain 2 of title set 1 does not play the stream --vobsub 0 "
                             "chooses (0x20); its subtitle tracks: none"),
            std::string::npos)
      << refused.err;
  EXPECT_TRUE(std::filesystem::is_empty(dir.path("")));
}

TEST(ToolStreams, StreamTheChainListsButDoesNotHoldWarns) {
  const Facts facts = loadFacts("dvd-streams");
  ASSERT_EQ(facts.at("vts.1.pgc.2.audio_control.0"), "0x8000");  // DTS stream 0
  ASSERT_EQ(facts.at("vts.1.pgc.2.audio_control.1"), "0x8100");  // LPCM stream 1
  ScratchDir dir;
  Result run = demux(2, {"--dts", "0=" + dir.path("none.dts"), "--lpcm", "1=" + dir.path("none.wav")});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.err.find("none.dts: warning: the input holds no packet of this stream"),
            std::string::npos) << run.err;
  EXPECT_NE(run.err.find("none.wav: warning: the input holds no packet of this stream"),
            std::string::npos) << run.err;
  EXPECT_EQ(std::filesystem::file_size(dir.path("none.dts")), 0u);
}

TEST(ToolStreams, FullDiskFailsForDtsAndLpcm) {
  for (const std::string option : {"--dts", "--lpcm"}) {
    Result run = demux(1, {option, (option == "--dts" ? "0=" : "1=") + std::string("/dev/full")});
    EXPECT_EQ(run.status, 1) << option;
    EXPECT_NE(run.err.find("could not be written completely"), std::string::npos) << run.err;
  }
}

TEST(ToolStreams, VobSubNeedsAFolder) {
  ScratchDir dir;
  Result run = runTool({"demux", kVob, "--vobsub", "0=" + dir.path("s")});
  EXPECT_EQ(run.status, 2);
  EXPECT_NE(run.err.find("--vobsub needs a VIDEO_TS folder"), std::string::npos) << run.err;
  EXPECT_FALSE(std::filesystem::exists(dir.path("s.idx")));
}

// The .idx opens in ffprobe as a subtitle stream of the frame size and
// language the IFO gives, with one packet for each subtitle of the VOB, at
// its time from the start of the video.
TEST(ToolStreams, VobSubOpensInFfprobeWithTheVobsTimes) {
  NEED_FFMPEG();
  ScratchDir dir;
  Result run = demux(1, {"--vobsub", "0=" + dir.path("s")});
  ASSERT_EQ(run.status, 0) << run.err;
  Facts facts = loadFacts("dvd-streams");
  const std::string video = facts["vts.1.video"];
  const bool pal = field(video, "format") == "1";
  const long long size = number(field(video, "picture_size"));
  const std::string width = size == 0 ? "720" : size == 1 ? "704" : "352";
  const std::string height = std::to_string((pal ? 576 : 480) / (size == 3 ? 2 : 1));
  EXPECT_EQ(probe(dir.path("s.idx"), "-show_entries stream=codec_name,width,height:stream_tags=language"),
            "dvd_subtitle|" + width + "|" + height + "|" + field(facts["vts.1.subp.0"], "lang") + "\n");

  std::vector<double> ours = numbers(probe(dir.path("s.idx"), "-show_entries packet=pts_time"));
  std::vector<double> vob = numbers(probe(kVob, "-select_streams s:0 -show_entries packet=pts_time"));
  std::vector<double> start = numbers(probe(kVob, "-select_streams v:0 -show_entries stream=start_time"));
  ASSERT_EQ(ours.size(), 2u);
  ASSERT_EQ(ours.size(), vob.size());
  ASSERT_EQ(start.size(), 1u);
  for (std::size_t i = 0; i < ours.size(); ++i)
    EXPECT_NEAR(ours[i], vob[i] - start[0], 0.001) << i;
  // The .sub file holds whole packs, each as the VOB has it.
  std::string sub = readWholeFile(dir.path("s.sub"));
  std::string joined = titleSetBytes(kStreams, 1);
  std::vector<std::size_t> packs = packsOf(joined, 0x20);
  ASSERT_EQ(sub.size(), packs.size() * 2048);
  for (std::size_t i = 0; i < packs.size(); ++i)
    EXPECT_TRUE(sub.compare(i * 2048, 2048, joined, packs[i], 2048) == 0) << i;
}

// The palette line is the program chain's colours, converted by ffmpeg's
// own YCbCr to RGB conversion from the IFO's bytes.
TEST(ToolStreams, VobSubPaletteIsTheChainsColours) {
  NEED_FFMPEG();
  ScratchDir dir;
  Result run = demux(1, {"--vobsub", "0=" + dir.path("s")});
  ASSERT_EQ(run.status, 0) << run.err;
  std::string ifo = readWholeFile(kStreams + "/VTS_01_0.IFO");
  auto u32 = [&](std::size_t at) {
    return (static_cast<unsigned char>(ifo[at]) << 24) | (static_cast<unsigned char>(ifo[at + 1]) << 16) |
           (static_cast<unsigned char>(ifo[at + 2]) << 8) | static_cast<unsigned char>(ifo[at + 3]);
  };
  std::size_t table = static_cast<std::size_t>(u32(0xCC)) * 2048;
  std::size_t pgc = table + static_cast<std::size_t>(u32(table + 12));
  std::string planes(48, '\0');  // 16 pixels of 4:4:4: Y, then Cb, then Cr
  for (int i = 0; i < 16; ++i) {
    std::size_t entry = pgc + 0xA4 + 4 * static_cast<std::size_t>(i);
    planes[i] = ifo[entry + 1];
    planes[32 + i] = ifo[entry + 2];
    planes[16 + i] = ifo[entry + 3];
  }
  writeFile(dir.path("palette.yuv"), planes);
  Result convert = runShell("ffmpeg -v error -y -f rawvideo -pix_fmt yuv444p -s 16x1 -i " +
                            quote(dir.path("palette.yuv")) + " -f rawvideo -pix_fmt rgb24 " +
                            quote(dir.path("palette.rgb")));
  ASSERT_EQ(convert.status, 0) << convert.err;
  std::string rgb = readWholeFile(dir.path("palette.rgb"));
  ASSERT_EQ(rgb.size(), 48u);

  std::string idx = readWholeFile(dir.path("s.idx"));
  std::size_t at = idx.find("\npalette: ");
  ASSERT_NE(at, std::string::npos) << idx;
  std::istringstream line(idx.substr(at + 10, idx.find('\n', at + 1) - at - 10));
  std::string colour;
  int i = 0;
  while (std::getline(line, colour, ',')) {
    ASSERT_LT(i, 16);
    unsigned long value = std::stoul(colour, nullptr, 16);
    for (int c = 0; c < 3; ++c)
      EXPECT_NEAR(static_cast<int>((value >> (16 - 8 * c)) & 0xFF),
                  static_cast<unsigned char>(rgb[static_cast<std::size_t>(3 * i + c)]), 2)
          << "colour " << i << " channel " << c;
    ++i;
  }
  EXPECT_EQ(i, 16);
}

TEST(ToolStreams, VobSubGoesIntoMatroskaWithItsLanguage) {
  if (!commandExists("mkvmerge") || !commandExists("mkvinfo"))
    GTEST_SKIP() << "mkvtoolnix is not installed (apt-get install mkvtoolnix)";
  ScratchDir dir;
  Result run = demux(1, {"--vobsub", "0=" + dir.path("s")});
  ASSERT_EQ(run.status, 0) << run.err;
  Result merge = runShell("mkvmerge -q -o " + quote(dir.path("s.mkv")) + " " + quote(dir.path("s.idx")));
  ASSERT_EQ(merge.status, 0) << merge.out << merge.err;
  Result info = runShell("mkvinfo " + quote(dir.path("s.mkv")));
  ASSERT_EQ(info.status, 0) << info.err;
  EXPECT_NE(info.out.find("Codec ID: S_VOBSUB"), std::string::npos) << info.out;
  const std::string lang = field(loadFacts("dvd-streams")["vts.1.subp.0"], "lang");
  EXPECT_NE(info.out.find("Language (IETF BCP 47): " + lang), std::string::npos) << info.out;
}

// Every audio stream's coding as libdvdread reads it, and for LPCM the
// sampling rate and bits.
TEST(ToolStreams, InfoNamesEveryAudioCoding) {
  Result run = runTool({"info", kStreams, "--json"});
  ASSERT_EQ(run.status, 0) << run.err;
  Json info = parseJson(run.out);
  Facts facts = loadFacts("dvd-streams");
  const Json& audio = info["titles"][0]["audio"];
  ASSERT_EQ(static_cast<long long>(audio.size()), number(facts["vts.1.audio_streams"]));
  const std::map<long long, std::string> codings = {{0, "ac3"}, {2, "mpeg1"}, {4, "lpcm"}, {6, "dts"}};
  for (std::size_t a = 0; a < audio.size(); ++a) {
    SCOPED_TRACE(a);
    const std::string& fact = facts["vts.1.audio." + std::to_string(a)];
    EXPECT_EQ(audio[a]["coding"].str, codings.at(number(field(fact, "coding"))));
    EXPECT_EQ(audio[a]["channels"].integer(), number(field(fact, "channels")) + 1);
    if (audio[a]["coding"].str != "lpcm") continue;
    EXPECT_EQ(std::to_string(audio[a]["sample_rate"].integer()) + "|" +
                  std::to_string(audio[a]["bits"].integer()) + "|" +
                  std::to_string(audio[a]["channels"].integer()) + "\n",
              ifoFormat(static_cast<int>(a)));
  }
  Result table = runTool({"info", kStreams});
  ASSERT_EQ(table.status, 0) << table.err;
  EXPECT_NE(table.out.find("Audio 1: en  dts      6 ch  48000 Hz  stream 0x88\n"), std::string::npos)
      << table.out;
  EXPECT_NE(table.out.find("Audio 3: fr  lpcm     2 ch  48000 Hz 24 bits  stream 0xa2\n"),
            std::string::npos)
      << table.out;
}
