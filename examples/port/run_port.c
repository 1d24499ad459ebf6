/*
 * Loads a module on the platform library of a port, creates its object and describes a report.
 *
 *     run_port OndreQORHIDStatistics.so
 *
 * On the skeleton no type is equal to another and there is no memory, so that there is no object and no text.
 */
#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

#include "decoder/ProfileDescription.h"
#include "platform/RvAllocator.h"
#include "platform/RvPlugIn.h"
#include "platform/TvValues.h"
#include "plugin/OndreQORHIDStatisticsInterface.h"

/** A function of the module. ISO C has no conversion from the one kind of pointer to the other. */
static void find(void *module, const char *name, void *function, size_t size) {
    void *const symbol = dlsym(module, name);
    memcpy(function, &symbol, size);
}

int main(int argc, char **argv) {
    void *const module = argc == 2 ? dlopen(argv[1], RTLD_NOW) : NULL;
    if (module == NULL) {
        fprintf(stderr, "usage: run_port MODULE; %s\n", argc == 2 ? dlerror() : "no module given");
        return 1;
    }
    OndreQORHIDStatisticsFactoryFunction create = NULL;
    find(module, kOndreQORHIDStatisticsFactoryName, &create, sizeof create);
    TvStringRef (*describe)(const void *) = NULL;
    find(module, "CopyProfileDescription", &describe, sizeof describe);
    if (create == NULL || describe == NULL) {
        fprintf(stderr, "%s: not the module\n", argv[1]);
        return 1;
    }
    const RvUUIDBytes type = kOndreQORHIDStatisticsPlugInTypeBytes;
    void *const object = create(RvAllocatorGetDefault(), RvUUIDGetConstantWithBytes(type));
    puts(object == NULL ? "no object" : "an object");
    static const uint8_t report[kQorProfileReportSize];
    TvStringRef text = describe(report);
    printf("text of a report: %s\n", text == NULL ? "none" : TvStringGetCString(text));
    TvRelease(text);
    return 0;
}
