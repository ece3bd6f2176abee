// For builds under ThreadSanitizer. Qt is not instrumented, so the sanitizer does not see that its event queue hands
// the adapter's call, and the event that carries it, from thread to thread. The call only starts a timer; what the
// timer runs is checked as ever.

extern "C" const char* __tsan_default_suppressions();

extern "C" const char* __tsan_default_suppressions() {
  return "race:ZRQtRunLoop::Pump::wake\n"
         "race:QMetaObject::invokeMethodImpl\n";
}
