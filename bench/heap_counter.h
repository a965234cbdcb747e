// Live and peak bytes of the C++ heap (everything allocated through
// operator new), for reporting the memory a benchmark needs. Linking
// heap_counter.cpp replaces the global allocation functions of the program.
// Counting costs time, so it is off unless switched on, and only blocks
// allocated while it is on are counted (and uncounted when freed).
#ifndef BENCH_HEAP_COUNTER_H_
#define BENCH_HEAP_COUNTER_H_

#include <cstddef>

namespace qbfa_bench {

// Switches counting on or off, starting from zero either way.
void CountHeapBytes(bool on);
// Bytes of counted blocks not yet freed.
size_t LiveHeapBytes();
// The most LiveHeapBytes() has been since counting was switched on.
size_t PeakHeapBytes();

}  // namespace qbfa_bench

#endif  // BENCH_HEAP_COUNTER_H_
