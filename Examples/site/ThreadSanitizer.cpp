// For builds under ThreadSanitizer. The web server's library is not instrumented: when its first requests come at once,
// one thread fills a guarded static set while the others wait for the guard, of which the sanitizer sees only the
// accesses. Accesses made by that library itself are left out; those of this program's handlers are not.

// A program that has more to leave out replaces this.
extern "C" __attribute__((weak)) const char* __tsan_default_suppressions();

extern "C" const char* __tsan_default_suppressions() {
  return "called_from_lib:libcpp-httplib.so\n";
}
