// For builds under a sanitizer. Neither the toolkit, which has threads of its own (the display's events, the session
// bus, covers from the web), nor the demo's web server is instrumented, so ThreadSanitizer does not see how they
// synchronise. What these libraries themselves hand to the C library is left out; accesses of this program's own code
// are not, but for the adapter's call that Qt carries from thread to thread to start a timer.

extern "C" const char* __tsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions();

extern "C" const char* __tsan_default_suppressions() {
  return "race:ZRQtRunLoop::Pump::wake\n"
         "called_from_lib:libQt6Core.so\n"
         "called_from_lib:libQt6Gui.so\n"
         "called_from_lib:libQt6Widgets.so\n"
         "called_from_lib:libQt6Network.so\n"
         "called_from_lib:libQt6DBus.so\n"
         "called_from_lib:libQt6XcbQpa.so\n"
         "called_from_lib:libglib-2.0.so\n"
         "called_from_lib:libxcb.so\n"
         "called_from_lib:libcpp-httplib.so\n"
         "mutex:libX11.so\n";
}

// The session bus keeps a buffer until the end of the process.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libdbus-1.so\n";
}
