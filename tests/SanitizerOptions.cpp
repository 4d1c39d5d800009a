/// The thread sanitizer would end a child that starts threads after a fork of a process with several threads.
/// Some tests do that on purpose.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
extern "C" const char* __tsan_default_options() { return "die_after_fork=0"; } // NOLINT: the sanitizer's name
#endif
#endif
