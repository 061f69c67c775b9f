#pragma once

/// Memory that fails on demand: this program's own allocation functions stand before those of the C library (plain
/// builds), of C++ (sanitizer builds, which need the C library's for themselves) and of the project (NoxMemory.h).
namespace faulty {

/// From now on the k-th allocation fails, or the k-th and all after it.
void arm(long k, bool allAfter);

/// Nothing fails any more. @return how many allocations have failed since `arm`
long disarm();

/// Blocks taken and not given back.
long liveBlocks();

/// The byte that the project's memory is filled with when it is handed out; -1 leaves it as it is.
void fillWith(int byte);

/// Largest block that is granted.
void limitBlocks(unsigned long bytes);

}  // namespace faulty
