#include "dvdnav/ifo_dump.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <streambuf>

using namespace dvdnav;

namespace {
template <typename T>
std::string dump(const T& record) {
  std::ostringstream out;
  out << record;
  return out.str();
}
}  // namespace

TEST(IfoDump, TitleSetWithoutChainsGoesStraightToNumvobs) {
  TitleSetInfo vts;
  std::string text = dump(vts);
  EXPECT_NE(text.find("number of PGCIs : 0\nnumvobs : 0\n"), std::string::npos);
}

TEST(IfoDump, LanguageCodeAndExtensionShareALine) {
  AudioAttributes audio;
  audio.specificcode = {'e', 'n'};
  audio.ext = 1;
  audio.channels = 2;
  EXPECT_EQ(dump(audio),
            "codingmode : 0\nfreq : 0\nquant : 0\ntype : 0\nchannels : 2\n"
            "specificcode : en, ext : 1\n");
}

TEST(IfoDump, CellsCountFromZeroAndProgramsFromOne) {
  ProgramChain pgc;
  pgc.cells.resize(3);
  pgc.programmap = {1, 3};
  std::string text = dump(pgc);
  for (const char* mark : {"\n#0\n", "\n#1\n", "\n#2\n", "\n#1 1\n", "\n#2 3\n"})
    EXPECT_NE(text.find(mark), std::string::npos) << mark;
  EXPECT_EQ(text.find("#3"), std::string::npos);
  EXPECT_NE(text.find("number of cells : 3\n"), std::string::npos);
}

TEST(IfoDump, NoProviderIdPrintsAnEmptyValue) {
  VideoManagerInfo vmg;
  EXPECT_NE(dump(vmg).find("\nproviderid : \nvobsize : 0\n\n"), std::string::npos);
}

TEST(IfoDump, TitleSetAttributesArePrintedTwice) {
  VideoManagerInfo vmg;
  vmg.titlesetattributes.resize(2);
  std::string text = dump(vmg);
  std::size_t first = text.find("number of Attribute Sets : 2\n");
  ASSERT_NE(first, std::string::npos);
  EXPECT_NE(text.find("number of Attribute Sets : 2\n", first + 1), std::string::npos);
}

TEST(IfoDump, CellAddressLabelsLineUp) {
  CellAddress cell{1, 2, 300, 400};
  EXPECT_EQ(dump(cell), "vobid  : 1\ncellid : 2\nstart  : 300\nend    : 400\n");
}

TEST(IfoDump, SubpictureAttributes) {
  SubpictureAttributes sub;
  sub.mode = 1;
  sub.specificcode = {'d', 'e'};
  EXPECT_EQ(dump(sub), "mode : 1\ntype : 0\nspecificcode : de, ext : 0\n");
}

TEST(IfoDump, AttributeSetListsEveryStream) {
  AttributeSet set;
  set.audio.resize(2);
  set.subpictures.resize(1);
  std::string text = dump(set);
  EXPECT_EQ(text.rfind("Video:\nvideocompressionmode : 0\ntvsystem : 0\ndisplaymode : 0\n\n"
                       "Number of Audiostreams : 2\nAudio(0) :\n",
                       0),
            0u);
  EXPECT_NE(text.find("\n\nAudio(1) :\n"), std::string::npos);
  EXPECT_NE(text.find("Number of Subpicturestreams : 1\nSubpic(0) :\nmode : 0\n"),
            std::string::npos);
}

// Every record printed inside another one is followed by an empty line,
// the video attributes of a set and the first-play chain included.
TEST(IfoDump, EmptyLineFollowsTheVideoAttributes) {
  AttributeSet set;
  set.video.displaymode = 3;
  EXPECT_EQ(dump(set),
            "Video:\nvideocompressionmode : 0\ntvsystem : 0\ndisplaymode : 3\n\n"
            "Number of Audiostreams : 0\nNumber of Subpicturestreams : 0\n");
}

TEST(IfoDump, EmptyLineFollowsTheFirstPlayChain) {
  VideoManagerInfo vmg;
  vmg.firstplay.gouppgcn = 9;
  std::string text = dump(vmg);
  std::size_t heading = text.find("\nFirst PGCInfo :\n");
  ASSERT_NE(heading, std::string::npos);
  std::string chain = dump(vmg.firstplay);
  EXPECT_EQ(text.substr(heading + 1),
            "First PGCInfo :\n" + chain + "\nnumber of Titles : 0\n"
            "number of Cell Address : 0\nnumber of Menu Address Pointers : 0\n"
            "number of Attribute Sets : 0\n");
}

TEST(IfoDump, NavCommandIsOneLine) {
  NavCommand command;
  command.cmdtype = 2;
  command.direct = true;
  command.op3 = 7;
  EXPECT_EQ(dump(command),
            "cmdtype 2, direct 1, set 0, dirCmp 0, cmp 0, cmd 0, op1 0, op2 0, op3 7");
}

TEST(IfoDump, ProgramChainTail) {
  ProgramChain pgc;
  pgc.numframes = 1234;
  pgc.gouppgcn = 5;
  std::string text = dump(pgc);
  EXPECT_NE(text.find("numentrycell : 0\nnumframes : 1234\nhascmdt : 0\nhaspgmap : 0\n"
                      "hascpbit : 0\nhascposit : 0\nnextpgcn : 0\nprevpgcn : 0\ngouppgcn : 5\n"),
            std::string::npos);
}

namespace {
// Counts what is written, and the largest piece handed over at once.
class CountingBuffer : public std::streambuf {
 public:
  std::size_t total = 0;
  std::size_t largest = 0;

 protected:
  int_type overflow(int_type c) override {
    if (!traits_type::eq_int_type(c, traits_type::eof())) note(1);
    return traits_type::not_eof(c);
  }
  std::streamsize xsputn(const char*, std::streamsize n) override {
    note(static_cast<std::size_t>(n));
    return n;
  }

 private:
  void note(std::size_t n) {
    total += n;
    if (n > largest) largest = n;
  }
};

ProgramChain chainWithCells(std::size_t cells) {
  ProgramChain pgc;
  pgc.numcells = static_cast<std::int32_t>(cells);
  pgc.cells.resize(cells);
  pgc.programmap = {1};
  return pgc;
}
}  // namespace

TEST(IfoDump, EntriesSharingABlockEachPrintItInFull) {
  TitleSetInfo vts;
  auto shared = std::make_shared<const ProgramChain>(chainWithCells(2));
  vts.programchains.push_back(shared);
  vts.programchains.push_back(chainWithCells(1));
  vts.programchains.push_back(shared);
  std::string text = dump(vts);
  EXPECT_NE(text.find("number of PGCIs : 3\n"), std::string::npos);
  std::size_t full = 0;
  for (std::size_t at = text.find("number of cells : 2\n#0\n"); at != std::string::npos;
       at = text.find("number of cells : 2\n#0\n", at + 1))
    ++full;
  EXPECT_EQ(full, 2u);
  EXPECT_NE(text.find("number of cells : 1\n#0\n"), std::string::npos);
}

TEST(IfoDump, WritesAsItGoesWithoutComposingTheListingFirst) {
  TitleSetInfo vts;
  auto shared = std::make_shared<const ProgramChain>(chainWithCells(255));
  for (int i = 0; i < 200; ++i) vts.programchains.push_back(shared);
  CountingBuffer counter;
  std::ostream out(&counter);
  out << vts;
  EXPECT_GT(counter.total, 200u * 255u * 100u);
  EXPECT_LT(counter.largest, 64u);
}
