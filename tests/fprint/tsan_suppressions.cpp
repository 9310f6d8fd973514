// ThreadSanitizer's suppressions for the libfprint tests, built in because
// the test's environment carries only one variable. libfprint passes each
// image from the thread that drives the reader (the backend's worker) to
// GLib's thread pool for minutiae detection and back, under GLib's own
// futex-based locks, which ThreadSanitizer cannot see in the uninstrumented
// libraries: the hand-over looks like a race on the image inside them.
extern "C" const char* __tsan_default_suppressions() {
    return "race:libfprint-2.so.2\n"
           "race:libglib-2.0.so.0\n";
}
