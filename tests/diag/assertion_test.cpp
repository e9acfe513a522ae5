#include <gmock/gmock.h>
#include <gtest/gtest.h>


#include "diag/debug_log.h"
#include "diag/diag_fixture.h"

using platform::AssertAnswer;
using testing::HasSubstr;
using testing::IsEmpty;
using testing_support::AssertAnswerer;
using testing_support::BreakRecorder;
using testing_support::DebuggerCapture;
using testing_support::DebugLogTest;
using testing_support::splitCrLf;

TEST(Assertion, DialogNamesTheConditionTheLineAndTheFile) {
  BreakRecorder breaks;
  AssertAnswerer answerer(AssertAnswer::Yes);
  diag::DebugLog log;
  log.assertion("count > 0", 120, "src/input/file_list.cpp");
  ASSERT_EQ(answerer.questions().size(), 1u);
  EXPECT_EQ(answerer.questions()[0].text,
            "count > 0 \nAt line 120 of src/input/file_list.cpp\nContinue? (Cancel to debug)");
  EXPECT_EQ(answerer.questions()[0].caption, "ASSERT Failed");
  EXPECT_EQ(breaks.count(), 0);  // Yes continues
}

TEST(Assertion, CancelBreaksIntoTheDebugger) {
  BreakRecorder breaks;
  AssertAnswerer answerer(AssertAnswer::Cancel);
  diag::DebugLog log;
  log.assertion("p != nullptr", 7, "x.cpp");
  EXPECT_EQ(answerer.questions().size(), 1u);
  EXPECT_EQ(breaks.count(), 1);
}

TEST(Assertion, UnansweredDialogContinues) {
  // A dialog that cannot be shown answers nothing: the program goes on.
  BreakRecorder breaks;
  AssertAnswerer answerer(AssertAnswer::None);
  diag::DebugLog log;
  log.assertion("false", 1, "y.cpp");
  EXPECT_EQ(answerer.questions().size(), 1u);
  EXPECT_EQ(breaks.count(), 0);
}

TEST(AssertionDeathTest, NoEndsTheProcessAtOnce) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        AssertAnswerer answerer(AssertAnswer::No);
        diag::DebugLog log;
        log.assertion("size < 10", 3, "z.cpp");
        std::fprintf(stderr, "still running\n");
        std::exit(0);
      },
      [](int status) { return !testing::ExitedWithCode(0)(status); },
#ifdef _WIN32
      ""  // the message is in a box of its own
#else
      "Application terminated"
#endif
  );
}

TEST(Assertion, BreakPointDialogSaysHardCodedBreakPoint) {
  BreakRecorder breaks;
  AssertAnswerer answerer(AssertAnswer::Yes);
  diag::DebugLog log;
  log.breakPoint("ignored text", 42, "pin.cpp");
  ASSERT_EQ(answerer.questions().size(), 1u);
  EXPECT_EQ(answerer.questions()[0].text,
            "Hard coded break point \nAt line 42 of pin.cpp\nContinue? (Cancel to debug)");
  EXPECT_EQ(answerer.questions()[0].caption, "ASSERT Failed");
  EXPECT_EQ(breaks.count(), 0);
}

TEST(Assertion, BreakPointCancelBreaksIntoTheDebugger) {
  BreakRecorder breaks;
  AssertAnswerer answerer(AssertAnswer::Cancel);
  diag::DebugLog log;
  log.breakPoint("", 1, "a.cpp");
  EXPECT_EQ(breaks.count(), 1);
}

TEST(Assertion, MacroAsksOnlyWhenTheConditionIsFalse) {
  BreakRecorder breaks;
  AssertAnswerer answerer(AssertAnswer::Yes);
  int two = 2;
  FENNORIA_ASSERT(two == 2);
  EXPECT_THAT(answerer.questions(), IsEmpty());
  FENNORIA_ASSERT(two == 3);
  ASSERT_EQ(answerer.questions().size(), 1u);
  EXPECT_EQ(answerer.questions()[0].text.rfind("two == 3 \nAt line ", 0), 0u)
      << answerer.questions()[0].text;
  EXPECT_THAT(answerer.questions()[0].text, HasSubstr("assertion_test.cpp\nContinue? (Cancel to debug)"));
  FENNORIA_BREAK("here");
  EXPECT_EQ(answerer.questions().size(), 2u);
  EXPECT_EQ(answerer.questions()[1].text.rfind("Hard coded break point \nAt line ", 0), 0u);
}

TEST_F(DebugLogTest, KernelAssertionLogsAndBreaksWithoutAsking) {
  setLogToFile("Debugger");
  AssertAnswerer answerer(AssertAnswer::Yes);
  DebuggerCapture debugger;
  diag::DebugLog log;
  log.initialise(nullptr);
  log.kernelAssertion("ready", 99, "reader.cpp");
  EXPECT_THAT(answerer.questions(), IsEmpty());
  EXPECT_EQ(breaks.count(), 1);
  std::vector<std::string> lines = splitCrLf(debugger.text());
  ASSERT_EQ(lines.size(), 1u) << debugger.text();
  EXPECT_TRUE(testing_support::isLogLine(lines[0], module,
                                        "Assertion FAILED (ready) at line 99 in file reader.cpp"))
      << lines[0];
}

TEST_F(DebugLogTest, KernelAssertionBreaksEvenWithLoggingOff) {
  testing_support::DebuggerCapture debugger;
  diag::DebugLog log;
  log.initialise(nullptr);
  log.kernelAssertion("ready", 5, "r.cpp");
  EXPECT_EQ(breaks.count(), 1);
  EXPECT_EQ(debugger.text(), module + " - no logging\r\n\r\n");
}

TEST_F(DebugLogTest, KernelAssertionMacroOnlyWhenFalse) {
  setLogToFile("Debugger");
  DebuggerCapture debugger;
  diag::DebugLog& log = diag::debugLog();
  (void)log;
  FENNORIA_KASSERT(1 + 1 == 2);
  EXPECT_EQ(breaks.count(), 0);
  FENNORIA_KASSERT(1 + 1 == 3);
  EXPECT_EQ(breaks.count(), 1);
}

TEST(Assertion, MissingTextsShowAsEmpty) {
  BreakRecorder breaks;
  AssertAnswerer answerer(AssertAnswer::Yes);
  diag::DebugLog log;
  log.assertion(nullptr, 5, nullptr);
  ASSERT_EQ(answerer.questions().size(), 1u);
  EXPECT_EQ(answerer.questions()[0].text, " \nAt line 5 of \nContinue? (Cancel to debug)");
}

TEST_F(DebugLogTest, KernelAssertionWithMissingTextsStillLogsAndBreaks) {
  setLogToFile("Debugger");
  DebuggerCapture debugger;
  diag::DebugLog log;
  log.initialise(nullptr);
  log.kernelAssertion(nullptr, 8, nullptr);
  EXPECT_EQ(breaks.count(), 1);
  std::vector<std::string> lines = splitCrLf(debugger.text());
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_TRUE(testing_support::isLogLine(lines[0], module, "Assertion FAILED () at line 8 in file "));
}
