// Holds a critical section for one scope.
#pragma once

#include <windows.h>

class SectionLock {
 public:
  explicit SectionLock(CRITICAL_SECTION& section) : section_(section) {
    EnterCriticalSection(&section_);
  }
  ~SectionLock() { LeaveCriticalSection(&section_); }
  SectionLock(const SectionLock&) = delete;
  SectionLock& operator=(const SectionLock&) = delete;

 private:
  CRITICAL_SECTION& section_;
};
