// What the sanitizers pass over: fontconfig keeps its configuration until the end of
// the process, and the leak checker does not always see the pointers to it.
#include <sanitizer/asan_interface.h>
#include <sanitizer/lsan_interface.h>

extern "C" const char* __lsan_default_suppressions() { return "leak:libfontconfig\n"; }
extern "C" const char* __asan_default_options() { return "print_suppressions=0"; }
