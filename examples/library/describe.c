/*
 * Prints the reports of a dump as lines, with the decoder's C library. The second argument is the time at which the
 * device booted, in microseconds since 1970.
 *
 *   cc -std=c11 describe.c $(pkg-config --cflags --libs qordecoder) -o describe
 *   ./describe fw.bin 1759992798520000
 */
#include <stdio.h>
#include <stdlib.h>

#include <qordecoder.h>

/** Prints lines until the dump ends. Returns the number of bytes at its end that are no whole report. */
static size_t print_reports(FILE *dump, const qordecoder_clock *clock) {
    static unsigned char reports[256][QORDECODER_REPORT_SIZE];
    static char lines[64 * 1024];
    size_t size = 0;
    while ((size = fread(reports, 1, sizeof reports, dump)) >= sizeof reports[0]) {
        const size_t count = size / sizeof reports[0];
        for (size_t done = 0; done < count;) {
            size_t length = 0;
            done += qordecoder_describe_many(reports[done], count - done, clock, lines, sizeof lines, &length);
            fwrite(lines, 1, length, stdout);
        }
        if (size < sizeof reports) {
            return size % sizeof reports[0];
        }
    }
    return size;
}

int main(int argc, char **argv) {
    if (argc < 2 || argc > 3) {
        fprintf(stderr, "usage: %s DUMP [BOOT-TIME]\n", argv[0]);
        return 2;
    }
    qordecoder_clock clock = {0};
    if (argc == 3) {
        clock.has_boot_time = 1;
        clock.boot_time_us = strtoull(argv[2], NULL, 10);
    }
    FILE *dump = fopen(argv[1], "rb");
    if (dump == NULL) {
        perror(argv[1]);
        return 1;
    }
    const size_t rest = print_reports(dump, &clock);
    const int failed = ferror(dump);
    fclose(dump);
    if (failed) {
        fprintf(stderr, "%s: cannot be read\n", argv[1]);
        return 1;
    }
    if (fflush(stdout) != 0 || ferror(stdout)) {
        fprintf(stderr, "standard output: cannot be written\n");
        return 1;
    }
    if (rest != 0) {
        fprintf(stderr, "%s: ends with %zu bytes of a report\n", argv[1], rest);
        return 1;
    }
    return 0;
}
