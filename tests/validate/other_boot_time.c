#include <stdint.h>

int64_t other_boot_time(void) { return 1234567; }
