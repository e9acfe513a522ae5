// Captures of what the code under test sends to the debugger and to the
// standard output.
//
// Debugger: on Windows a vectored exception handler receives the text of
// every OutputDebugStringA (which raises DBG_PRINTEXCEPTION_C); on Linux, where
// the debugger's text goes to stderr, stderr is redirected to a file.
// Standard output: redirected to a file (SetStdHandle / dup2).
#pragma once

#include <memory>
#include <string>

namespace testing_support {

class DebuggerCapture {
 public:
  DebuggerCapture();
  ~DebuggerCapture();
  DebuggerCapture(const DebuggerCapture&) = delete;
  DebuggerCapture& operator=(const DebuggerCapture&) = delete;
  // Everything captured so far.
  std::string text() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

class StdoutCapture {
 public:
  StdoutCapture();
  ~StdoutCapture();
  StdoutCapture(const StdoutCapture&) = delete;
  StdoutCapture& operator=(const StdoutCapture&) = delete;
  std::string text() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace testing_support
