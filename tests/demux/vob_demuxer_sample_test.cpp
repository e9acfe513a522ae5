// The demultiplexer on the bundled sample disc, against references made by
// ffmpeg and ffprobe (tools/make-demux-references, committed under
// samples/dvd/refs): for every program chain, its sectors are fed in several
// chunkings, and every audio and subpicture file must equal ffmpeg's byte
// for byte, and every timing line must carry the stamps ffprobe shows for
// the same PES packet.
//
// Nothing is left out of the comparison. ffmpeg's packets of private stream
// 1 start after the same substream header the demultiplexer skips (one byte
// for a subpicture, four for AC-3), and with "-c copy" its raw AC-3, MPEG
// audio and data writers put the packets' bytes out unchanged; each program
// chain of the sample starts on an audio frame, so no parser drops a leading
// partial frame either.
#include "demux/vob_demuxer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "demux/sample_refs.h"
#include "demux/timing_file.h"
#include "support/scratch.h"

using testing_support::readWholeFile;
using testing_support::ScratchDir;
using namespace demux_test;

namespace {

// Registers `s` with the demultiplexer under the number its id carries.
void registerStream(VobDemuxer& demuxer, const RefStream& s, const std::string& name,
                    bool timing = true) {
  unsigned id = s.number();
  if (id >= 0x80 && id <= 0x87) {
    ASSERT_EQ(demuxer.AddAudio(name.c_str(), 0, static_cast<int>(id & 7), timing), 0);
  } else if (id >= 0x1C0 && id <= 0x1DF) {
    ASSERT_EQ(demuxer.AddAudio(name.c_str(), 2, static_cast<int>(id & 0x1F), timing), 0);
  } else if (id >= 0x20 && id <= 0x3F) {
    ASSERT_EQ(demuxer.AddSubtitle(name.c_str(), static_cast<int>(id & 0x1F), timing), 0);
  } else {
    FAIL() << "no output kind for stream " << s.id;
  }
}

void feedInChunks(VobDemuxer& demuxer, const std::string& bytes, std::size_t chunk) {
  for (std::size_t at = 0; at < bytes.size(); at += chunk) {
    std::size_t n = std::min(chunk, bytes.size() - at);
    demuxer.Demultiplex(bytes.data() + at, static_cast<std::int32_t>(n));
  }
}

// A stamp as a timing file prints it: the low 32 bits, signed.
std::int32_t low32(const std::string& stamp) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(std::stoull(stamp)));
}

const std::vector<std::size_t> kChunkings = {0 /* whole */, 1000, 2048, 777, 2049, 6143, 13};

}  // namespace

TEST(VobDemuxerSampleDisc, ReferencesCoverEveryProgramChainRange) {
  std::vector<Range> ranges = loadIndex();
  ASSERT_FALSE(ranges.empty());
  for (const auto& r : ranges) {
    EXPECT_FALSE(r.streams.empty()) << r.key;
    EXPECT_FALSE(r.vobs.empty()) << r.key;
    EXPECT_GE(r.last, r.first) << r.key;
  }
}

TEST(VobDemuxerSampleDisc, OutputFilesEqualTheReferencesInEveryChunking) {
  for (const auto& r : loadIndex()) {
    std::string bytes = rangeBytes(r);
    for (std::size_t chunk : kChunkings) {
      SCOPED_TRACE(r.key + " in chunks of " + (chunk ? std::to_string(chunk) : "all"));
      ScratchDir dir;
      {
        VobDemuxer demuxer(nullptr);
        for (const auto& s : r.streams) registerStream(demuxer, s, dir.path(s.id + "." + s.ext));
        feedInChunks(demuxer, bytes, chunk ? chunk : bytes.size());
        EXPECT_EQ(demuxer.heldCount(), 0);
        demuxer.CloseAll();
      }
      for (const auto& s : r.streams) {
        std::string expected = readWholeFile(refName(r, s, s.ext));
        ASSERT_FALSE(expected.empty()) << s.id;
        std::string got = readWholeFile(dir.path(s.id + "." + s.ext));
        EXPECT_EQ(got.size(), expected.size()) << s.id;
        EXPECT_TRUE(got == expected) << s.id << " differs from ffmpeg's output";
      }
      timing::closeAllTimingFiles();
    }
  }
}

TEST(VobDemuxerSampleDisc, StreamsAbsentFromTheRangeStayEmpty) {
  for (const auto& r : loadIndex()) {
    SCOPED_TRACE(r.key);
    std::string bytes = rangeBytes(r);
    ScratchDir dir;
    std::vector<std::pair<RefStream, std::string>> absent;
    {
      VobDemuxer demuxer(nullptr);
      for (const char* id : {"0x80", "0x81", "0x1c0", "0x1c1", "0x1c2", "0x20", "0x21"}) {
        RefStream s{id, "out"};
        bool present = false;
        for (const auto& p : r.streams) present = present || p.id == s.id;
        if (present) continue;
        absent.emplace_back(s, dir.path(s.id));
        registerStream(demuxer, s, absent.back().second);
      }
      demuxer.Demultiplex(bytes.data(), static_cast<std::int32_t>(bytes.size()));
      demuxer.CloseAll();
    }
    for (const auto& a : absent) {
      EXPECT_EQ(readWholeFile(a.second), "") << a.first.id;
      EXPECT_EQ(readWholeFile(timing::timingFileName(a.second)), "") << a.first.id;
    }
    timing::closeAllTimingFiles();
  }
}

// Each timing line pairs with the next PES packet of its stream that carries
// a stamp (ffprobe, without parsing, shows one packet per PES; the references
// are made with "nofillin" too, since ffprobe would otherwise show a stamp
// computed from the previous packet for a PES that has none, as it does for
// the last AC-3 packet of vts.1.pgc.2, which rightly gets no line). The line's
// PTS and DTS are the low 32 bits of ffprobe's, with -1 for an absent PTS and
// the PTS for an absent DTS. ffprobe cannot know the position, so the
// position is checked against the output itself: it lies in the packet's
// data, whose offset is the sum of the sizes of the packets before it, at the
// packet's first sync word (AC-3 0x0B 0x77; 0x00 0x00 0x01 0x00 for MPEG
// audio) or at its start when there is none, and always at the start for a
// subpicture.
TEST(VobDemuxerSampleDisc, TimingLinesCarryTheStampsOfEveryPacket) {
  for (const auto& r : loadIndex()) {
    std::string bytes = rangeBytes(r);
    for (std::size_t chunk : {std::size_t{0}, std::size_t{1000}}) {
      ScratchDir dir;
      {
        VobDemuxer demuxer(nullptr);
        for (const auto& s : r.streams) registerStream(demuxer, s, dir.path(s.id + "." + s.ext));
        feedInChunks(demuxer, bytes, chunk ? chunk : bytes.size());
        demuxer.CloseAll();
      }
      timing::closeAllTimingFiles();
      for (const auto& s : r.streams) {
        SCOPED_TRACE(r.key + " " + s.id + (chunk ? " in chunks of 1000" : " whole"));
        std::string output = readWholeFile(dir.path(s.id + "." + s.ext));
        std::string word;
        if (s.ext == "ac3") word = "\x0B\x77";
        if (s.ext == "mp2") word = std::string("\x00\x00\x01\x00", 4);

        std::istringstream lines(readWholeFile(dir.path(s.id + "." + s.ext + ".timing")));
        std::int64_t start = 0;
        int stamped = 0;
        for (const PesPacket& p : loadPackets(refName(r, s, "pes"))) {
          std::int64_t packetStart = start;
          start += p.size;
          if (p.pts == "N/A" && p.dts == "N/A") continue;
          ++stamped;
          std::string line;
          ASSERT_TRUE(std::getline(lines, line)) << "no line for packet " << stamped;
          ASSERT_FALSE(line.empty());
          ASSERT_EQ(line.back(), '\r');
          std::istringstream fields(line);
          std::int64_t position = 0;
          std::int32_t pts = 0, dts = 0;
          ASSERT_TRUE(fields >> position >> pts >> dts) << line;
          std::int32_t wantPts = p.pts == "N/A" ? -1 : low32(p.pts);
          std::int32_t wantDts = p.dts == "N/A" ? wantPts : low32(p.dts);
          EXPECT_EQ(pts, wantPts) << "packet " << stamped;
          EXPECT_EQ(dts, wantDts) << "packet " << stamped;

          std::string data = output.substr(static_cast<std::size_t>(packetStart),
                                           static_cast<std::size_t>(p.size));
          std::size_t found = word.empty() ? std::string::npos : data.find(word);
          // The last offset where the word could start is not examined.
          if (found != std::string::npos && found + word.size() == data.size())
            found = std::string::npos;
          std::int64_t want = packetStart + (found == std::string::npos ? 0 : found);
          EXPECT_EQ(position, want) << "packet " << stamped;
        }
        EXPECT_GT(stamped, 0);
        std::string extra;
        EXPECT_FALSE(std::getline(lines, extra)) << "line without a packet: " << extra;
      }
    }
  }
}

// Outputs that collect their packets in a buffer end byte for byte as the
// ones written packet by packet, timing files included; a one-byte buffer
// sends every packet straight through.
TEST(VobDemuxerSampleDisc, BufferedOutputsEqualTheDirectOnes) {
  for (const auto& r : loadIndex()) {
    std::string bytes = rangeBytes(r);
    std::map<std::size_t, ScratchDir> dirs;
    for (std::size_t buffer : {std::size_t{0}, std::size_t{1}, std::size_t{100}, std::size_t{4096}}) {
      ScratchDir& dir = dirs[buffer];
      {
        VobDemuxer demuxer(nullptr);
        demuxer.setOutputBuffer(buffer);
        for (const auto& s : r.streams) registerStream(demuxer, s, dir.path(s.id + "." + s.ext));
        feedInChunks(demuxer, bytes, 777);
        demuxer.CloseAll();
        EXPECT_FALSE(demuxer.writeFailed());
      }
      timing::closeAllTimingFiles();
    }
    for (const auto& s : r.streams) {
      std::string name = s.id + "." + s.ext;
      std::string data = readWholeFile(dirs[0].path(name));
      std::string lines = readWholeFile(dirs[0].path(name + ".timing"));
      EXPECT_TRUE(data == readWholeFile(refName(r, s, s.ext))) << r.key << " " << s.id;
      EXPECT_FALSE(lines.empty()) << r.key << " " << s.id;
      for (std::size_t buffer : {std::size_t{1}, std::size_t{100}, std::size_t{4096}}) {
        SCOPED_TRACE(r.key + " " + s.id + " with a buffer of " + std::to_string(buffer));
        EXPECT_TRUE(readWholeFile(dirs[buffer].path(name)) == data);
        EXPECT_EQ(readWholeFile(dirs[buffer].path(name + ".timing")), lines);
      }
    }
  }
}

#ifndef _WIN32
// /dev/full refuses every byte, as a full disk would: the demultiplexer goes
// on, and says afterwards that an output failed.
TEST(VobDemuxerSampleDisc, RefusedOutputIsReportedAfterClosing) {
  Range r = loadIndex().front();
  std::string bytes = rangeBytes(r);
  ScratchDir dir;
  for (std::size_t buffer : {std::size_t{0}, std::size_t{4096}}) {
    VobDemuxer demuxer(nullptr);
    demuxer.setOutputBuffer(buffer);
    const RefStream& s = r.streams.front();
    registerStream(demuxer, s, "/dev/full", false);
    demuxer.Demultiplex(bytes.data(), static_cast<std::int32_t>(bytes.size()));
    EXPECT_EQ(demuxer.heldCount(), 0);
    demuxer.CloseAll();
    EXPECT_TRUE(demuxer.writeFailed()) << "buffer " << buffer;
  }
  VobDemuxer fine(nullptr);
  registerStream(fine, r.streams.front(), dir.path("fine"), false);
  fine.Demultiplex(bytes.data(), static_cast<std::int32_t>(bytes.size()));
  fine.CloseAll();
  EXPECT_FALSE(fine.writeFailed());
}
#endif
