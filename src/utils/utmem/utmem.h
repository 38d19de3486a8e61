// Allocation with a defined behaviour when memory runs out. All blocks come from the system's allocator, so
// ut_free and free are the same.
//
// Units: bytes. A size of 0 allocates nothing and gives null, without a report. Ownership: the caller frees,
// by ut_free. Failure: null; only ut_alloc and ut_realloc report it, through ut_fatal, which returns: code
// behind them deals with null, too. Before a failure counts, ut_out_of_memory is asked once, and if it has
// freed memory the allocation is tried once more. Nothing throws. Threads: any thread at any time, as the
// system's allocator.
#pragma once

#include "utils/etc/uttypes.h"

// Null without memory, unreported.
[[nodiscard]] void * ut_malloc(size_t size);

// For callers that have no way to go on: without memory ut_fatal("Out of memory (ut_alloc)"), then null.
[[nodiscard]] void * ut_alloc(size_t size);

// Zeroed. Null without memory, unreported.
[[nodiscard]] void * ut_calloc(size_t size);

// Null `ptr`: as ut_malloc. A size of 0 otherwise: frees `ptr` and gives null. A block that can't be resized
// is reported by ut_fatal("Out of memory"): the result is null and `ptr` stays valid as it was.
[[nodiscard]] void * ut_realloc(void * ptr, size_t size);

// A copy of the `size` bytes at `old`. Null for a null `old`, and, unreported, without memory.
[[nodiscard]] void * ut_memdup(void * old, size_t size);

// Null is allowed.
void ut_free(void * ptr);

// The same operations under the names by which parsers take their allocator. uicalloc gives null, unreported,
// when n * size doesn't fit a size_t.
[[nodiscard]] void * uimalloc(size_t size);
[[nodiscard]] void * uicalloc(size_t n, size_t size);
[[nodiscard]] void * uirealloc(void * ptr, size_t size);
void uifree(void * ptr);

// The hook of a failed allocation: TRUE if it has freed memory, so that another try makes sense. The library
// has nothing to free and says FALSE; it stands in a file of its own, so that a program that links the
// archive can bring another one.
[[nodiscard]] a_bool ut_out_of_memory();

// Tracking of allocations: no effect in this library. ut_trackmem gives 0.
void ut_start_trackmem();
void ut_stop_trackmem();
int ut_trackmem(const char * filename);

// Records that memory handling has been given up.
void utmem_abort();
