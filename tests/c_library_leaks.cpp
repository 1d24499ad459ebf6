// Suppresses a leak of the C library: setting a locale while LOCPATH is set leaks the library's list of its folders.

// NOLINTBEGIN(bugprone-reserved-identifier): the name that the leak sanitizer, if any, calls
extern "C" const char *__lsan_default_suppressions();

extern "C" const char *__lsan_default_suppressions() { return "leak:argz_add_sep\n"; }
// NOLINTEND(bugprone-reserved-identifier)
