// The one thread that shows every progress window of the process.
//
// A window needs a thread that pumps its messages, and the filter's callers
// cannot be trusted to (see progress_window.h). One thread serves every
// window rather than one thread each: when many threads that owned windows
// end at once, Wine's X11 driver has been seen to corrupt its heap and take
// the host down (a host making and dropping filters on several threads did
// it in every other run). The thread starts with its first client and ends
// after its last. A thread started while the previous one is still ending
// first waits for that one to be gone, so no two threads of ours ever do
// window work at the same time. Nobody else waits for the thread.
#pragma once

#include <windows.h>

#include <memory>

// What the windows' thread serves. A client queues its own requests; the
// thread has it carry them out, on the windows' thread only.
class WindowClient {
 public:
  virtual ~WindowClient() = default;
  // Carries out what was asked since the last call; false once the client
  // is done, after which the thread lets go of it (on the windows' thread).
  virtual bool serve() = 0;
  // The client's dialog, for keyboard navigation; null when none.
  virtual HWND dialog() const = 0;
};

namespace window_thread {

// Hands `client` to the windows' thread, starting one when none runs; its
// first `serve` follows soon. False when no thread could be started: the
// client then gets no call. Returns without waiting for the thread.
bool attach(std::shared_ptr<WindowClient> client);

// Has the thread serve its clients soon; returns at once.
void wake();

}  // namespace window_thread
