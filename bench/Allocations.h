#pragma once

#include <cstddef>

/** This thread's calls of operator new so far. */
inline thread_local std::size_t gAllocations = 0;

/** Bytes of the heap that this thread's calls of operator new took, less those that it gave back. */
inline thread_local std::size_t gHeapBytes = 0;
