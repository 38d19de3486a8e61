// The library's allocations on this thread: their number, and which of them fail. This program's wrappers, in
// link_memory_test.cpp, keep to it.
#pragma once

enum class Shortage { OneAllocation, FromThenOn };

inline thread_local int allocations_until_failure = 0; // 0: all succeed
inline thread_local Shortage shortage = Shortage::OneAllocation;
inline thread_local int allocations_made = 0;
