/** A well-formed module that is not the plug-in. */
extern "C" __attribute__((visibility("default"))) int foreign_module_answer();

int foreign_module_answer() { return 42; }
