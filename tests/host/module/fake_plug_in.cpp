#include "tests/host/module/fake_plug_in.h"

#include "host/RvQueue.h"

namespace {

FakePlugIn instance;

void note(const char *call) {
    const host::SerialQueue *queue = host::SerialQueue::from_handle(instance.queue);
    const bool off_queue = queue != nullptr && !queue->is_current();
    instance.calls.push_back(std::string(call) + (off_queue ? " off the queue" : ""));
}

HRESULT query_interface(void *self, RvUUIDBytes, void **interface) {
    note("QueryInterface");
    if (instance.query_refuses) {
        *interface = nullptr;
        return kRvResultNoInterface;
    }
    ++instance.references;
    *interface = self;
    return kRvResultOK;
}

uint32_t add_ref(void *) { return static_cast<uint32_t>(++instance.references); }

uint32_t release(void *) {
    note("Release");
    return static_cast<uint32_t>(--instance.references);
}

bool open(void *, RvHIDSessionRef, uint32_t) {
    note("open");
    return !instance.open_refuses;
}

void close(void *, RvHIDSessionRef, uint32_t) { note("close"); }

void register_service(void *, RvHIDServiceRef) { note("registerService"); }

void schedule(void *, RvQueueRef queue) {
    instance.queue = queue;
    note("scheduleWithDispatchQueue");
}

void unschedule(void *, RvQueueRef) { note("unscheduleFromDispatchQueue"); }

const OndreQORHIDStatisticsTable kWholeTable{nullptr, query_interface,  add_ref, release,  {},         open, close,
                                             {},      register_service, nullptr, schedule, unschedule, {}};
const OndreQORHIDStatisticsTable kBareTable{nullptr, query_interface, add_ref, release, {},      nullptr, nullptr,
                                            {},      nullptr,         nullptr, nullptr, nullptr, {}};

} // namespace

extern "C" __attribute__((visibility("default"))) FakePlugIn *fake_plug_in() { return &instance; }

void *OndreQORHIDStatisticsFactory(RvAllocatorRef, RvUUIDRef) {
    note("factory");
    instance.table = instance.only_mandatory_slots ? &kBareTable : &kWholeTable;
    instance.references = 1;
    return instance.factory_refuses ? nullptr : &instance;
}
