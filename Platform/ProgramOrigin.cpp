// At each start the C library of a static program asks the kernel where the program lies, for "$ORIGIN" in the names of libraries
// that it may load: a path to be found, a page of stack, a block of heap. The tool loads none, so it answers as the library does
// when the kernel doesn't tell. Weak, so that a C library that brings this together with something else still links.
extern "C" __attribute__((weak)) const char* _dl_get_origin() {  // NOLINT(bugprone-reserved-identifier)
    return reinterpret_cast<const char*>(-1);                    // NOLINT(performance-no-int-to-ptr)
}
