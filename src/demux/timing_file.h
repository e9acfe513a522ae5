// Timing files: a text index beside an extracted elementary stream, one line
// per packet that carried a time stamp: "position PTS DTS" and a carriage
// return and line feed. The line end belongs to the file format, not to the
// platform, so the files are written in binary and look the same everywhere.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

namespace timing {

// The timing file's name for the output `outputName`: the name with
// ".timing" appended (nothing is taken off).
std::string timingFileName(const std::string& outputName);

// Opens (and truncates) the timing file of `outputName`. The stream belongs
// to the process, not to the caller: it stays open, and is never freed,
// until the process ends or closeAllTimingFiles runs; every line is flushed
// as it is written, so nothing is lost either way. A file that cannot be
// created gives a stream in the failed state, which writes nothing.
std::ostream* openTimingFile(const std::string& outputName);

// Appends one line to `out` and flushes it, unless the stream has already
// failed (its fail or bad state is set): a failed write or flush marks the
// stream bad, and it then stays silent.
void writeTimingLine(std::ostream& out, std::int32_t position, std::int32_t pts,
                     std::int32_t dts);

// What the end of the process does to the timing files, for hosts and tests
// that want them closed before then (a test that removes its folder). The
// stream objects stay valid; any later line written to them is dropped.
void closeAllTimingFiles();

// Closes and frees every timing file of the process. Only for a program that
// knows no demultiplexer holding one is left (the fuzzer, which registers
// timing files for every input it tries).
void releaseAllTimingFiles();

}  // namespace timing
