// The HTTP library that tests serve with comes from the distribution, without instrumentation: ThreadSanitizer sees
// what the library reads and writes through libc, but not the atomics that order it. Only what that library itself does
// is left out here; the handlers that it calls are checked like everything else.

extern "C" const char* __tsan_default_suppressions();

extern "C" const char* __tsan_default_suppressions() { return "called_from_lib:libcpp-httplib.so\n"; }
