#include "cli/partial_files.h"

#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#ifdef _WIN32
#include <windows.h>
#else
#include <csignal>
#include <unistd.h>
#endif

namespace cli::partial {

namespace {

// The names, each a copy of its own, in slots a signal handler can walk at
// any moment: a slot is filled or emptied with one atomic store.
constexpr std::size_t kSlots = 512;
std::array<std::atomic<char*>, kSlots> slots{};

// Forgotten copies are kept, not freed: a handler running on another thread
// may be reading one this moment. A run forgets a few names at most.
struct FreeName {
  void operator()(char* name) const { std::free(name); }
};
std::vector<std::unique_ptr<char, FreeName>> forgotten;

void removeAll() {
  for (auto& slot : slots) {
    if (char* name = slot.load()) {
#ifdef _WIN32
      DeleteFileA(name);
#else
      unlink(name);
#endif
    }
  }
}

#ifdef _WIN32
BOOL WINAPI onConsoleEvent(DWORD event) {
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT && event != CTRL_CLOSE_EVENT)
    return FALSE;
  removeAll();
  ExitProcess(130);
}
#else
void onSignal(int signal) {
  removeAll();
  _exit(128 + signal);
}
#endif

}  // namespace

void removeOnInterrupt() {
#ifdef _WIN32
  SetConsoleCtrlHandler(onConsoleEvent, TRUE);
#else
  struct sigaction action {};
  action.sa_handler = onSignal;
  sigemptyset(&action.sa_mask);
  for (int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&action.sa_mask, signal);
  for (int signal : {SIGINT, SIGTERM, SIGHUP}) sigaction(signal, &action, nullptr);
#endif
}

void add(const std::string& path) {
  char* copy = static_cast<char*>(std::malloc(path.size() + 1));
  if (!copy) return;
  std::memcpy(copy, path.c_str(), path.size() + 1);
  for (auto& slot : slots) {
    char* empty = nullptr;
    if (slot.compare_exchange_strong(empty, copy)) return;
  }
  std::free(copy);
}

void forget(const std::string& path) {
  for (auto& slot : slots) {
    char* name = slot.load();
    if (name && path == name && slot.compare_exchange_strong(name, nullptr)) {
      forgotten.emplace_back(name);
      return;
    }
  }
}

}  // namespace cli::partial
