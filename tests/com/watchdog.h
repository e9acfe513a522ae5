// Ends the test process when a step of a test does not finish in time.
//
// The tests here drive a graph through states where a deadlock would stop
// the calling thread for good. Each step names itself and its bound; if the
// bound passes, the watchdog prints which step hung and terminates the
// process with exit code 3, so a hang shows as a failed test (with the
// failures recorded so far already printed) instead of a stuck process.
#pragma once

#include <windows.h>

#include <string>

namespace com_tests {

class Watchdog {
 public:
  // `wholeTestMs` bounds everything between construction and destruction.
  explicit Watchdog(DWORD wholeTestMs);
  ~Watchdog();
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

  // Reports `what` as a hang and ends the process at once (exit code 3):
  // for waits that timed out on threads that still use the test's data.
  [[noreturn]] static void hung(const std::string& what);

  // One bounded step: armed by the constructor, cleared by the destructor.
  class Step {
   public:
    Step(Watchdog& dog, const std::string& what, DWORD milliseconds);
    ~Step();
    Step(const Step&) = delete;
    Step& operator=(const Step&) = delete;

   private:
    Watchdog& dog_;
  };

 private:
  static DWORD WINAPI watch(void* self);
  void arm(const std::string& what, DWORD milliseconds);
  void disarm();

  CRITICAL_SECTION lock_;
  std::string step_;
  ULONGLONG stepDeadline_ = 0;  // 0: no step armed
  ULONGLONG testDeadline_;
  HANDLE quit_;
  HANDLE thread_;
};

}  // namespace com_tests
