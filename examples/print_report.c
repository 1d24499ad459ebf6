/*
 * Prints the first report of a dump through the module's C entry points. It shows how a program that is not a HID
 * event system uses the decoder. Link it with the module and the platform library:
 *
 *   cc -std=c11 -I. examples/print_report.c build/release/bin/OndreQORHIDStatistics.so \
 *      build/release/bin/libqorplatform.so -Wl,-rpath,build/release/bin -o print_report
 *   ./print_report examples/reports/fw.bin
 */
#include <stdint.h>
#include <stdio.h>

#include "decoder/ProfileDescription.h"
#include "platform/TvValues.h"

int main(int argc, char **argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: %s DUMP\n", argv[0]);
        return 2;
    }
    FILE *dump = fopen(argv[1], "rb");
    if (dump == NULL) {
        perror(argv[1]);
        return 1;
    }
    uint8_t report[kQorProfileReportSize];
    const size_t count = fread(report, sizeof report, 1, dump);
    fclose(dump);
    if (count != 1) {
        fprintf(stderr, "%s: shorter than one report of %d bytes\n", argv[1], kQorProfileReportSize);
        return 1;
    }

    /* The line as a value, which we own; null when it is not UTF-8. */
    TvStringRef line = CopyProfileDescription(report);
    if (line == NULL) {
        fprintf(stderr, "%s: the text of the first report is not UTF-8\n", argv[1]);
        return 1;
    }
    printf("%zu bytes of text:\n", TvStringGetLength(line));
    TvRelease(line);

    /* The same line, straight to standard output. */
    fflush(stdout);
    qor_profile_print(report);
    return 0;
}
