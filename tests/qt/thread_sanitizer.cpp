// What ThreadSanitizer is told of Qt in programs that run it.
#include <korvani/platform/export.h>

#ifdef __SANITIZE_THREAD__
// Qt and what it stands on are not built for ThreadSanitizer, which sees what their threads
// allocate and free but not how they wait for each other. Our own code stays under watch, in
// callbacks of Qt as well.
extern "C" KORVANI_EXPORT const char* __tsan_default_suppressions() {
  return "called_from_lib:libQt6Core\ncalled_from_lib:libQt6Gui\ncalled_from_lib:"
         "libQt6DBus\ncalled_from_lib:libdbus-1\ncalled_from_lib:libglib-2.0\nmutex:"
         "libQt6WaylandClient\n";
}
// Starting a mock service looks to it like a fork that goes on with threads.
extern "C" KORVANI_EXPORT const char* __tsan_default_options() { return "die_after_fork=0"; }
#endif
