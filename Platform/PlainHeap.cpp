#include <malloc.h>

namespace {

constexpr int kMebibyte = 1 << 20;

/// Spares a run that is soon over what the heap sets up for a long one: the threads beside the parked one take turns more than
/// they compete, so one arena serves them all, and the buffer of a socket needs no mapping of its own. Setting the
/// one threshold without the other would grow and shrink the end of the heap with each large block.
[[maybe_unused]] const int kPlainHeap[] = {::mallopt(M_ARENA_MAX, 1), ::mallopt(M_MMAP_THRESHOLD, kMebibyte),
                                           ::mallopt(M_TRIM_THRESHOLD, 2 * kMebibyte)};

}  // namespace
