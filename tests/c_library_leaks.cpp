// A leak of the C library's own, which no test program should answer for: choosing a locale while LOCPATH is set
// leaks the list that the C library makes of it.

// NOLINTBEGIN(bugprone-reserved-identifier): the name under which the leak sanitizer, where there is one, asks
extern "C" const char *__lsan_default_suppressions();

extern "C" const char *__lsan_default_suppressions() { return "leak:__argz_add_sep\n"; }
// NOLINTEND(bugprone-reserved-identifier)
