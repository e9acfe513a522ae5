#include "com/watchdog.h"

#include <cstdio>

namespace com_tests {

Watchdog::Watchdog(DWORD wholeTestMs) : testDeadline_(GetTickCount64() + wholeTestMs) {
  InitializeCriticalSection(&lock_);
  quit_ = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  thread_ = CreateThread(nullptr, 0, watch, this, 0, nullptr);
}

Watchdog::~Watchdog() {
  SetEvent(quit_);
  WaitForSingleObject(thread_, 5000);
  CloseHandle(thread_);
  CloseHandle(quit_);
  DeleteCriticalSection(&lock_);
}

Watchdog::Step::Step(Watchdog& dog, const std::string& what, DWORD milliseconds) : dog_(dog) {
  dog_.arm(what, milliseconds);
}

Watchdog::Step::~Step() { dog_.disarm(); }

void Watchdog::arm(const std::string& what, DWORD milliseconds) {
  EnterCriticalSection(&lock_);
  step_ = what;
  stepDeadline_ = GetTickCount64() + milliseconds;
  LeaveCriticalSection(&lock_);
}

void Watchdog::disarm() {
  EnterCriticalSection(&lock_);
  stepDeadline_ = 0;
  LeaveCriticalSection(&lock_);
}

void Watchdog::hung(const std::string& what) {
  std::printf("\nHANG: %s did not finish within its bound; the process ends here (exit 3)\n",
              what.c_str());
  std::fflush(stdout);
  std::fflush(stderr);
  TerminateProcess(GetCurrentProcess(), 3);
  ExitProcess(3);
}

DWORD WINAPI Watchdog::watch(void* self) {
  auto* dog = static_cast<Watchdog*>(self);
  while (WaitForSingleObject(dog->quit_, 100) == WAIT_TIMEOUT) {
    const ULONGLONG now = GetTickCount64();
    EnterCriticalSection(&dog->lock_);
    std::string hung;
    if (dog->stepDeadline_ != 0 && now > dog->stepDeadline_)
      hung = "step \"" + dog->step_ + "\"";
    else if (now > dog->testDeadline_)
      hung = "the test as a whole";
    LeaveCriticalSection(&dog->lock_);
    if (!hung.empty()) Watchdog::hung(hung);
  }
  return 0;
}

}  // namespace com_tests
