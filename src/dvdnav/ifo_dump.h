// Readable listings of the navigation records, one printer per record type.
// Each writes fixed labels and the decoded values and returns the stream, so
// printers chain; the whole record is always printed.
#pragma once

#include <ostream>

#include "dvdnav/ifo_records.h"

namespace dvdnav {

std::ostream& operator<<(std::ostream& out, const VideoAttributes& video);
std::ostream& operator<<(std::ostream& out, const AudioAttributes& audio);
std::ostream& operator<<(std::ostream& out, const SubpictureAttributes& sub);
std::ostream& operator<<(std::ostream& out, const AttributeSet& set);
std::ostream& operator<<(std::ostream& out, const AttributeSetPair& pair);
std::ostream& operator<<(std::ostream& out, const CellPlayback& cell);
std::ostream& operator<<(std::ostream& out, const CellAddress& cell);
std::ostream& operator<<(std::ostream& out, const TitleEntry& title);
std::ostream& operator<<(std::ostream& out, const ProgramChain& pgc);
std::ostream& operator<<(std::ostream& out, const NavCommand& command);
std::ostream& operator<<(std::ostream& out, const VideoManagerInfo& vmg);
std::ostream& operator<<(std::ostream& out, const TitleSetInfo& vts);

}  // namespace dvdnav
