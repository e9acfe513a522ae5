#include "dvdnav/ifo_dump.h"

#include <charconv>
#include <cstring>

namespace dvdnav {

namespace {

// A dump of a large title set runs to many thousands of label lines; each is
// composed in a small buffer and written in one piece, as the stream would
// write it, rather than through one formatted insertion per part.
class Line {
 public:
  Line& text(const char* part) {
    std::size_t length = std::strlen(part);
    if (length > sizeof buffer_ - used_) length = sizeof buffer_ - used_;
    std::memcpy(buffer_ + used_, part, length);
    used_ += length;
    return *this;
  }
  template <typename Number>
  Line& number(Number value) {
    auto result = std::to_chars(buffer_ + used_, buffer_ + sizeof buffer_, value);
    if (result.ec == std::errc()) used_ = static_cast<std::size_t>(result.ptr - buffer_);
    return *this;
  }
  Line& character(char c) {
    if (used_ < sizeof buffer_) buffer_[used_++] = c;
    return *this;
  }
  void writeTo(std::ostream& out) { out.write(buffer_, static_cast<std::streamsize>(used_)); }

 private:
  char buffer_[128];
  std::size_t used_ = 0;
};

void line(std::ostream& out, const char* label, std::int32_t value) {
  Line().text(label).number(value).character('\n').writeTo(out);
}

void count(std::ostream& out, const char* label, std::size_t value) {
  Line().text(label).number(value).character('\n').writeTo(out);
}

void code(std::ostream& out, const std::array<char, 2>& chars, std::int32_t ext) {
  Line()
      .text("specificcode : ")
      .character(chars[0])
      .character(chars[1])
      .text(", ext : ")
      .number(ext)
      .character('\n')
      .writeTo(out);
}

template <typename List>
void blocks(std::ostream& out, const char* label, const List& records) {
  count(out, label, records.size());
  for (const auto& record : records) {
    if (!out) break;  // a stream that takes no more text ends the listing
    out << record << "\n";
  }
}

void sectors(std::ostream& out, const char* label, const std::vector<std::int32_t>& addresses) {
  count(out, label, addresses.size());
  for (std::size_t i = 0; i < addresses.size() && out; ++i)
    Line().number(addresses[i]).character('\n').writeTo(out);
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const VideoAttributes& video) {
  line(out, "videocompressionmode : ", video.videocompressionmode);
  line(out, "tvsystem : ", video.tvsystem);
  line(out, "displaymode : ", video.displaymode);
  return out;
}

std::ostream& operator<<(std::ostream& out, const AudioAttributes& audio) {
  line(out, "codingmode : ", audio.codingmode);
  line(out, "freq : ", audio.freq);
  line(out, "quant : ", audio.quant);
  line(out, "type : ", audio.type);
  line(out, "channels : ", audio.channels);
  code(out, audio.specificcode, audio.ext);
  return out;
}

std::ostream& operator<<(std::ostream& out, const SubpictureAttributes& sub) {
  line(out, "mode : ", sub.mode);
  line(out, "type : ", sub.type);
  code(out, sub.specificcode, sub.ext);
  return out;
}

std::ostream& operator<<(std::ostream& out, const AttributeSet& set) {
  out << "Video:\n" << set.video << "\n";
  count(out, "Number of Audiostreams : ", set.audio.size());
  for (std::size_t i = 0; i < set.audio.size() && out; ++i) {
    Line().text("Audio(").number(i).text(") :\n").writeTo(out);
    out << set.audio[i];
    out.put('\n');
  }
  count(out, "Number of Subpicturestreams : ", set.subpictures.size());
  for (std::size_t i = 0; i < set.subpictures.size() && out; ++i) {
    Line().text("Subpic(").number(i).text(") :\n").writeTo(out);
    out << set.subpictures[i];
    out.put('\n');
  }
  return out;
}

std::ostream& operator<<(std::ostream& out, const AttributeSetPair& pair) {
  return out << "Menu Attributes\n" << pair.menu << "\n" << "Title Attributes\n" << pair.title
             << "\n";
}

std::ostream& operator<<(std::ostream& out, const CellPlayback& cell) {
  line(out, "seamlessplayback : ", cell.seamlessplayback);
  line(out, "stcdiscontinuity : ", cell.stcdiscontinuity);
  line(out, "seamlessanglechange : ", cell.seamlessanglechange);
  line(out, "stilltime : ", cell.stilltime);
  line(out, "startcfvobu : ", cell.startcfvobu);
  line(out, "endcfilvu : ", cell.endcfilvu);
  line(out, "startclvobu : ", cell.startclvobu);
  line(out, "endclvobu : ", cell.endclvobu);
  line(out, "commandnumber : ", cell.commandnumber);
  return out;
}

std::ostream& operator<<(std::ostream& out, const CellAddress& cell) {
  line(out, "vobid  : ", cell.vobid);
  line(out, "cellid : ", cell.cellid);
  line(out, "start  : ", cell.start);
  line(out, "end    : ", cell.end);
  return out;
}

std::ostream& operator<<(std::ostream& out, const TitleEntry& title) {
  line(out, "playbacktype : ", title.playbacktype);
  line(out, "numangles : ", title.numangles);
  line(out, "numparts : ", title.numparts);
  line(out, "parentalid : ", title.parentalid);
  line(out, "vtsnumber : ", title.vtsnumber);
  line(out, "vtstitlenumber : ", title.vtstitlenumber);
  line(out, "startvts : ", title.startvts);
  return out;
}

std::ostream& operator<<(std::ostream& out, const ProgramChain& pgc) {
  line(out, "numprograms : ", pgc.numprograms);
  line(out, "numcells : ", pgc.numcells);
  line(out, "framerate : ", pgc.framerate);
  line(out, "useroperationcontrol : ", pgc.useroperationcontrol);
  count(out, "number of cells : ", pgc.cells.size());
  for (std::size_t i = 0; i < pgc.cells.size() && out; ++i) {
    Line().character('#').number(i).character('\n').writeTo(out);
    out << pgc.cells[i];
    out.put('\n');
  }
  // Programs count from 1 while cells count from 0.
  for (std::size_t i = 0; i < pgc.programmap.size() && out; ++i)
    Line()
        .character('#')
        .number(i + 1)
        .character(' ')
        .number(pgc.programmap[i])
        .character('\n')
        .writeTo(out);
  line(out, "numentrycell : ", pgc.numentrycell);
  line(out, "numframes : ", pgc.numframes);
  line(out, "hascmdt : ", pgc.hascmdt);
  line(out, "haspgmap : ", pgc.haspgmap);
  line(out, "hascpbit : ", pgc.hascpbit);
  line(out, "hascposit : ", pgc.hascposit);
  line(out, "nextpgcn : ", pgc.nextpgcn);
  line(out, "prevpgcn : ", pgc.prevpgcn);
  line(out, "gouppgcn : ", pgc.gouppgcn);
  return out;
}

std::ostream& operator<<(std::ostream& out, const NavCommand& command) {
  return out << "cmdtype " << command.cmdtype << ", direct " << command.direct << ", set "
             << command.set << ", dirCmp " << command.dirCmp << ", cmp " << command.cmp
             << ", cmd " << command.cmd << ", op1 " << command.op1 << ", op2 " << command.op2
             << ", op3 " << command.op3;
}

std::ostream& operator<<(std::ostream& out, const VideoManagerInfo& vmg) {
  line(out, "version : ", vmg.version);
  line(out, "region : ", vmg.region);
  line(out, "numvolumes : ", vmg.numvolumes);
  line(out, "volume : ", vmg.volume);
  line(out, "diskside : ", vmg.diskside);
  line(out, "numtitles : ", vmg.numtitles);
  out << "providerid : " << vmg.providerid << "\n";
  line(out, "vobsize : ", vmg.vobsize);
  out << "\n";
  out << "Attributes : \n" << vmg.attributes << "\n";
  blocks(out, "number of Attribute Sets : ", vmg.titlesetattributes);
  out << "First PGCInfo :\n" << vmg.firstplay << "\n";
  blocks(out, "number of Titles : ", vmg.titles);
  blocks(out, "number of Cell Address : ", vmg.menucelladdresses);
  sectors(out, "number of Menu Address Pointers : ", vmg.menuvobuaddresses);
  // The attribute list is printed a second time, on purpose.
  blocks(out, "number of Attribute Sets : ", vmg.titlesetattributes);
  return out;
}

std::ostream& operator<<(std::ostream& out, const TitleSetInfo& vts) {
  line(out, "version : ", vts.version);
  line(out, "applicationtype : ", vts.applicationtype);
  line(out, "menuvobsize : ", vts.menuvobsize);
  line(out, "titlevobsize : ", vts.titlevobsize);
  line(out, "numvobs : ", vts.numvobs);
  line(out, "startvstsmvobs : ", vts.startvstsmvobs);
  line(out, "startvststvobs : ", vts.startvststvobs);
  out << "Attributes : \n" << vts.attributes << "\n";
  blocks(out, "number of PGCIs : ", vts.programchains);
  line(out, "numvobs : ", vts.numvobs);
  blocks(out, "number of Menu CellAddress : ", vts.menucelladdresses);
  sectors(out, "number of Menu Address Pointers : ", vts.menuvobuaddresses);
  blocks(out, "number of CellAddress : ", vts.celladdresses);
  sectors(out, "number of Address Pointers : ", vts.vobuaddresses);
  return out;
}

}  // namespace dvdnav
