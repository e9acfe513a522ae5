#include "support/output_capture.h"

#include <cstdio>
#include <mutex>
#include <stdexcept>

#include "support/scratch.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <unistd.h>
#endif

namespace testing_support {

#ifdef _WIN32

namespace {
std::mutex debuggerMutex;
std::string* debuggerText = nullptr;

LONG CALLBACK onException(EXCEPTION_POINTERS* info) {
  const EXCEPTION_RECORD* record = info->ExceptionRecord;
  if (record->ExceptionCode != DBG_PRINTEXCEPTION_C || record->NumberParameters < 2)
    return EXCEPTION_CONTINUE_SEARCH;
  std::lock_guard<std::mutex> lock(debuggerMutex);
  if (!debuggerText) return EXCEPTION_CONTINUE_SEARCH;
  const char* text = reinterpret_cast<const char*>(record->ExceptionInformation[1]);
  std::size_t length = static_cast<std::size_t>(record->ExceptionInformation[0]);
  // The length counts the terminating zero.
  if (text && length) debuggerText->append(text, length - 1);
  return EXCEPTION_CONTINUE_EXECUTION;
}
}  // namespace

struct DebuggerCapture::State {
  std::string text;
  void* handler = nullptr;
};

DebuggerCapture::DebuggerCapture() : state_(new State) {
  {
    std::lock_guard<std::mutex> lock(debuggerMutex);
    debuggerText = &state_->text;
  }
  state_->handler = AddVectoredExceptionHandler(1, onException);
}

DebuggerCapture::~DebuggerCapture() {
  RemoveVectoredExceptionHandler(state_->handler);
  std::lock_guard<std::mutex> lock(debuggerMutex);
  debuggerText = nullptr;
}

std::string DebuggerCapture::text() const {
  std::lock_guard<std::mutex> lock(debuggerMutex);
  return state_->text;
}

struct StdoutCapture::State {
  ScratchDir dir;
  std::string file;
  HANDLE previous = nullptr;
  HANDLE capture = INVALID_HANDLE_VALUE;
};

StdoutCapture::StdoutCapture() : state_(new State) {
  std::fflush(stdout);
  state_->file = state_->dir.path("stdout.txt");
  state_->capture = CreateFileA(state_->file.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (state_->capture == INVALID_HANDLE_VALUE) throw std::runtime_error("cannot capture stdout");
  state_->previous = GetStdHandle(STD_OUTPUT_HANDLE);
  SetStdHandle(STD_OUTPUT_HANDLE, state_->capture);
}

StdoutCapture::~StdoutCapture() {
  SetStdHandle(STD_OUTPUT_HANDLE, state_->previous);
  CloseHandle(state_->capture);
}

std::string StdoutCapture::text() const { return readWholeFile(state_->file); }

#else  // Linux

namespace {
// Sends descriptor `fd` to a file while it lives.
struct Redirect {
  ScratchDir dir;
  std::string file;
  int fd = -1;
  int saved = -1;

  explicit Redirect(int which) : fd(which) {
    file = dir.path("capture.txt");
    int target = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (target < 0) throw std::runtime_error("cannot capture");
    saved = ::dup(fd);
    ::dup2(target, fd);
    ::close(target);
  }
  ~Redirect() {
    ::dup2(saved, fd);
    ::close(saved);
  }
};
}  // namespace

struct DebuggerCapture::State {
  Redirect redirect{2};
};

DebuggerCapture::DebuggerCapture() : state_(new State) {}
DebuggerCapture::~DebuggerCapture() = default;
std::string DebuggerCapture::text() const { return readWholeFile(state_->redirect.file); }

struct StdoutCapture::State {
  Redirect redirect{1};
};

StdoutCapture::StdoutCapture() {
  std::fflush(stdout);
  state_.reset(new State);
}
StdoutCapture::~StdoutCapture() {
  std::fflush(stdout);
  state_.reset();
}
std::string StdoutCapture::text() const { return readWholeFile(state_->redirect.file); }

#endif

}  // namespace testing_support
