// The partial outputs of a run (NAME.partial-PID and their timing files),
// removed when the run is ended by Ctrl-C, a terminal that hangs up, or a
// request to terminate, so that nothing half-written stays behind.
#pragma once

#include <string>

namespace cli::partial {

// Installs the handlers: SIGINT, SIGTERM and SIGHUP on POSIX (the process
// then exits 128 + the signal's number: 130, 143, 129), the console's
// Ctrl-C, Ctrl-Break and close events on Windows (exit 130).
void removeOnInterrupt();

// A file the run is writing, to be removed if it is interrupted; ignored
// when the table is full (it holds far more than any run makes).
void add(const std::string& path);
// The file was renamed into place or removed: it is the run's no longer.
void forget(const std::string& path);

}  // namespace cli::partial
