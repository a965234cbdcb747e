// Tests of code that keeps process-wide state it never resets (a
// function-local static, a once-per-process start) each need a process in
// which that state is new.
#ifndef TESTS_SUPPORT_FRESH_PROCESS_H_
#define TESTS_SUPPORT_FRESH_PROCESS_H_

namespace qbfa_test {

// Call at the start of every such test of a test binary, all of them, before
// anything touches the state. True when the running test may go ahead here:
// it is the first of them in this process (as when CTest runs each test on
// its own), or this process was started to run it. Otherwise runs the test
// in a new process of this binary, whose output shows in this one's, adds a
// failure here when it fails there, and returns false: skip the test then.
bool InFreshProcess();

}  // namespace qbfa_test

#endif  // TESTS_SUPPORT_FRESH_PROCESS_H_
