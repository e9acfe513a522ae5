// Puts a replacement into a process-wide slot that the code under test calls
// through (a system call, an allocator) for one test, and the original back
// afterwards, whatever the test's outcome.
#pragma once

namespace testing_support {

template <typename Call>
class StandIn {
 public:
  StandIn(Call& slot, Call standIn) : slot_(slot), saved_(slot) { slot_ = standIn; }
  ~StandIn() { slot_ = saved_; }
  StandIn(const StandIn&) = delete;
  StandIn& operator=(const StandIn&) = delete;

 private:
  Call& slot_;
  Call saved_;
};

}  // namespace testing_support
