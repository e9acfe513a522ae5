// The decoded navigation records of a DVD-Video folder: the Video Manager
// (VIDEO_TS.IFO) and the title sets (VTS_nn_0.IFO).
//
// Plain value types, decoded once when a file is loaded: every scalar is a
// signed 32-bit integer whatever its width in the file, every table is a
// vector held by value in its parent, and nothing refers back to the file
// bytes. Sector numbers count 2048-byte blocks.
//
// Two lists are held in a shared form because the file can make their
// entries repeat one another: the program chains of a table (entries that
// point at the same block share its one record) and the part-of-title lists
// of a title set (each is a tail of the one before). Both read like vectors
// of values, and since no record changes after loading, copies still behave
// as deep copies.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace dvdnav {

constexpr std::int32_t sectorSize = 2048;

struct VideoAttributes {
  std::int32_t videocompressionmode = 0;
  std::int32_t tvsystem = 0;
  std::int32_t displaymode = 0;
  std::int32_t aspectratio = 0;
  std::int32_t picturesize = 0;  // 0 full width, 1 704, 2 352, 3 352 at half height
};

struct AudioAttributes {
  std::int32_t codingmode = 0;
  std::int32_t freq = 0;  // the sampling-frequency bits are not decoded: always 0
  std::int32_t samplingcode = 0;  // those bits for the tool: 0 48 kHz, 1 96 kHz
  std::int32_t quant = 0;
  std::int32_t type = 0;
  std::int32_t channels = 0;
  std::array<char, 2> specificcode = {0, 0};  // language code
  std::int32_t ext = 0;
};

struct SubpictureAttributes {
  std::int32_t mode = 0;
  std::int32_t type = 0;
  std::array<char, 2> specificcode = {0, 0};
  std::int32_t ext = 0;
};

struct AttributeSet {
  VideoAttributes video;
  std::vector<AudioAttributes> audio;
  std::vector<SubpictureAttributes> subpictures;
};

struct AttributeSetPair {
  AttributeSet menu;
  AttributeSet title;
};

struct NavCommand {
  std::int32_t cmdtype = 0;
  bool direct = false;
  std::int32_t set = 0;
  bool dirCmp = false;
  std::int32_t cmp = 0;
  std::int32_t cmd = 0;
  std::int32_t op1 = 0;
  std::int32_t op2 = 0;
  std::int32_t op3 = 0;
};

struct CellPlayback {
  std::int32_t blockmode = 0;  // 0 not in a block, 1 first, 2 inside, 3 last cell
  std::int32_t blocktype = 0;  // 1: the block is an angle block
  std::int32_t seamlessplayback = 0;
  std::int32_t stcdiscontinuity = 0;
  std::int32_t seamlessanglechange = 0;
  std::int32_t stilltime = 0;
  std::int32_t startcfvobu = 0;  // first VOBU start sector
  std::int32_t endcfilvu = 0;    // first ILVU end sector
  std::int32_t startclvobu = 0;  // last VOBU start sector
  std::int32_t endclvobu = 0;    // last VOBU end sector
  std::int32_t commandnumber = 0;
  std::int32_t numframes = 0;
  std::int32_t framerate = 0;
  std::array<std::uint8_t, 4> playbacktime = {0, 0, 0, 0};  // the BCD bytes as stored
};

struct CellPosition {
  std::int32_t vobid = 0;
  std::int32_t cellid = 0;
};

struct CellAddress {
  std::int32_t vobid = 0;
  std::int32_t cellid = 0;
  std::int32_t start = 0;
  std::int32_t end = 0;
};

// One audio stream control entry of a program chain.
struct AudioControl {
  bool present = false;
  std::int32_t value = 0;  // the entry's two bytes
};

// One sub-picture stream control entry: the stream numbers for the four
// display modes.
struct SubpictureControl {
  bool present = false;
  std::array<std::int32_t, 4> streams = {0, 0, 0, 0};
};

struct PaletteEntry {
  std::int32_t y = 0;
  std::int32_t cr = 0;
  std::int32_t cb = 0;
};

struct ProgramChain {
  std::int32_t numprograms = 0;
  std::int32_t numcells = 0;
  std::int32_t framerate = 0;
  std::int32_t useroperationcontrol = 0;
  std::array<AudioControl, 8> audiocontrol;
  std::array<SubpictureControl, 32> subpicturecontrol;
  std::array<PaletteEntry, 16> palette;
  std::vector<NavCommand> precommands;
  std::vector<NavCommand> postcommands;
  std::vector<NavCommand> cellcommands;
  std::vector<CellPlayback> cells;
  std::vector<CellPosition> cellpositions;
  std::vector<std::int32_t> programmap;  // entry cell (1-based) of each program
  std::int32_t numentrycell = 0;
  std::int32_t numframes = 0;
  std::int32_t hascmdt = 0;
  std::int32_t haspgmap = 0;
  std::int32_t hascpbit = 0;
  std::int32_t hascposit = 0;
  std::int32_t nextpgcn = 0;
  std::int32_t prevpgcn = 0;
  std::int32_t gouppgcn = 0;
};

// The program chains of a table, read like a vector of values. Several
// entries of a table may point at the same program chain block; that block
// is decoded once and the entries share the one record. Records are never
// changed after loading, so a copy of the list behaves as a deep copy.
class ProgramChainList {
 public:
  class const_iterator {
   public:
    using iterator_category = std::random_access_iterator_tag;
    using value_type = ProgramChain;
    using difference_type = std::ptrdiff_t;
    using pointer = const ProgramChain*;
    using reference = const ProgramChain&;

    const_iterator() = default;
    explicit const_iterator(const std::shared_ptr<const ProgramChain>* at) : at_(at) {}
    reference operator*() const { return **at_; }
    pointer operator->() const { return at_->get(); }
    const_iterator& operator++() { ++at_; return *this; }
    const_iterator operator++(int) { const_iterator old = *this; ++at_; return old; }
    const_iterator& operator--() { --at_; return *this; }
    const_iterator& operator+=(difference_type n) { at_ += n; return *this; }
    const_iterator operator+(difference_type n) const { return const_iterator(at_ + n); }
    difference_type operator-(const const_iterator& other) const { return at_ - other.at_; }
    reference operator[](difference_type n) const { return *at_[n]; }
    bool operator==(const const_iterator& other) const { return at_ == other.at_; }
    bool operator!=(const const_iterator& other) const { return at_ != other.at_; }
    bool operator<(const const_iterator& other) const { return at_ < other.at_; }

   private:
    const std::shared_ptr<const ProgramChain>* at_ = nullptr;
  };

  std::size_t size() const { return chains_.size(); }
  bool empty() const { return chains_.empty(); }
  const ProgramChain& operator[](std::size_t i) const { return *chains_[i]; }
  const ProgramChain& at(std::size_t i) const { return *chains_.at(i); }
  const ProgramChain& front() const { return *chains_.front(); }
  const ProgramChain& back() const { return *chains_.back(); }
  const_iterator begin() const { return const_iterator(chains_.data()); }
  const_iterator end() const { return const_iterator(chains_.data() + chains_.size()); }

  // Appends a chain of its own.
  void push_back(ProgramChain chain) {
    chains_.push_back(std::make_shared<const ProgramChain>(std::move(chain)));
  }
  // Appends an entry that shares an already decoded chain.
  void push_back(std::shared_ptr<const ProgramChain> chain) { chains_.push_back(std::move(chain)); }
  // The shared record behind entry i; entries with the same block give the
  // same pointer.
  const std::shared_ptr<const ProgramChain>& shared(std::size_t i) const { return chains_[i]; }

 private:
  std::vector<std::shared_ptr<const ProgramChain>> chains_;
};

struct TitleEntry {
  std::int32_t playbacktype = 0;
  std::int32_t numangles = 0;
  std::int32_t numparts = 0;
  std::int32_t parentalid = 0;
  std::int32_t vtsnumber = 0;
  std::int32_t vtstitlenumber = 0;
  std::int32_t startvts = 0;
};

struct MenuLanguageUnit {
  ProgramChainList programchains;
};

struct PartOfTitle {
  std::int32_t pgcn = 0;
  std::int32_t pgn = 0;
};

// The part-of-title list of one title, read like a vector of values. Each
// title's list runs on to the end of the whole table, so the lists of one
// table are tails of one another; they share the decoded entries instead of
// each holding a copy of the rest of the table.
class PartOfTitleList {
 public:
  using const_iterator = const PartOfTitle*;

  PartOfTitleList() = default;
  // The entries of `all` from index `first` on.
  PartOfTitleList(std::shared_ptr<const std::vector<PartOfTitle>> all, std::size_t first)
      : all_(std::move(all)), first_(first) {
    if (!all_ || first_ > all_->size()) first_ = all_ ? all_->size() : 0;
  }
  explicit PartOfTitleList(std::vector<PartOfTitle> own)
      : all_(std::make_shared<const std::vector<PartOfTitle>>(std::move(own))) {}

  std::size_t size() const { return all_ ? all_->size() - first_ : 0; }
  bool empty() const { return size() == 0; }
  const PartOfTitle& operator[](std::size_t i) const { return (*all_)[first_ + i]; }
  const PartOfTitle& front() const { return (*this)[0]; }
  const PartOfTitle& back() const { return (*this)[size() - 1]; }
  const_iterator begin() const { return all_ ? all_->data() + first_ : nullptr; }
  const_iterator end() const { return all_ ? all_->data() + all_->size() : nullptr; }

 private:
  std::shared_ptr<const std::vector<PartOfTitle>> all_;
  std::size_t first_ = 0;
};

struct VideoManagerInfo {
  std::int32_t version = 0;
  std::int32_t region = 0;
  std::int32_t numvolumes = 0;
  std::int32_t volume = 0;
  std::int32_t diskside = 0;
  std::int32_t numtitles = 0;
  std::string providerid;
  std::int32_t vobsize = 0;  // shown by the dump, never read from the file
  AttributeSet attributes;
  ProgramChain firstplay;
  std::vector<TitleEntry> titles;
  std::vector<MenuLanguageUnit> menuunits;
  std::vector<AttributeSetPair> titlesetattributes;
  std::vector<CellAddress> menucelladdresses;
  std::vector<std::int32_t> menuvobuaddresses;
};

struct TitleSetInfo {
  std::int32_t version = 0;
  std::int32_t applicationtype = 0;
  // Shown by the dump, never read from the file.
  std::int32_t menuvobsize = 0;
  std::int32_t titlevobsize = 0;
  std::int32_t numvobs = 0;
  std::int32_t startvstsmvobs = 0;
  std::int32_t startvststvobs = 0;
  AttributeSetPair attributes;
  std::vector<PartOfTitleList> parts;  // one list per title of the set
  ProgramChainList programchains;
  std::vector<MenuLanguageUnit> menuunits;
  std::vector<CellAddress> menucelladdresses;
  std::vector<std::int32_t> menuvobuaddresses;
  std::vector<CellAddress> celladdresses;
  std::vector<std::int32_t> vobuaddresses;
};

// A playback time (BCD hours, minutes, seconds, and a frame byte whose two
// top bits give the rate) as a frame count; only the rate code 11 counts 30
// frames a second, every other code 25.
std::int32_t playbackFrameRate(std::uint8_t frameByte);
std::int32_t playbackTimeToFrames(const std::uint8_t time[4]);

}  // namespace dvdnav
