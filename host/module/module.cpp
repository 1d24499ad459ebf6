#include "host/module/module.h"

#include <filesystem>
#include <system_error>

#include <dlfcn.h>

#include "host/error.h"
#include "host/shared_library.h"
#include "platform/Owned.h"

namespace host {

namespace {

/** A path that contains a slash, so that the loader does not search its folders. */
std::string path_of_existing_file(const std::string &path) {
    std::error_code error;
    const bool exists = std::filesystem::exists(path, error);
    if (!exists) {
        throw Error(path, "", error ? error.message() : "there is no such file");
    }
    return std::filesystem::absolute(path).string();
}

void *load(const std::string &path) {
    const std::string absolute = path_of_existing_file(path);
    void *module = ::dlopen(absolute.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (module == nullptr) {
        throw Error(path, "", "this module cannot be loaded: " + loader_reason(absolute));
    }
    return module;
}

OndreQORHIDStatisticsFactoryFunction find_factory(const std::string &path, void *module) {
    void *factory = ::dlsym(module, kOndreQORHIDStatisticsFactoryName);
    if (factory == nullptr) {
        throw Error(path, "", "the module exports no " kOndreQORHIDStatisticsFactoryName);
    }
    return reinterpret_cast<OndreQORHIDStatisticsFactoryFunction>(factory);
}

OndreQORHIDStatisticsRef create_object(const Module &module) {
    const platform::OwnedUUID type(RvUUIDCreateWithBytes(kOndreQORHIDStatisticsPlugInTypeBytes));
    auto *object = static_cast<OndreQORHIDStatisticsRef>(module.factory()(RvAllocatorGetDefault(), type.get()));
    if (object == nullptr) {
        throw Error(module.path(), "factory", "it creates no object of the session-filter plug-in type");
    }
    return object;
}

bool answers_interface(OndreQORHIDStatisticsRef object) {
    const auto query = (*object)->QueryInterface;
    void *interface = nullptr;
    return query != nullptr && query(object, kOndreQORHIDStatisticsInterface1Bytes, &interface) >= 0 &&
           interface == object;
}

void release(OndreQORHIDStatisticsRef object) {
    if (const auto release_slot = (*object)->Release) {
        release_slot(object);
    }
}

/** An object with one reference, the one from `QueryInterface`. */
OndreQORHIDStatisticsRef create_plug_in(const Module &module) {
    OndreQORHIDStatisticsRef object = create_object(module);
    const bool usable = answers_interface(object);
    release(object);
    if (!usable) {
        throw Error(module.path(), "QueryInterface", "the object does not answer the plug-in interface");
    }
    return object;
}

bool open_plug_in(OndreQORHIDStatisticsRef plug_in) {
    const auto open = (*plug_in)->open;
    return open == nullptr || open(plug_in, nullptr, 0);
}

void close_plug_in(OndreQORHIDStatisticsRef plug_in) {
    if (const auto close = (*plug_in)->close) {
        close(plug_in, nullptr, 0);
    }
}

void schedule(OndreQORHIDStatisticsRef plug_in, RvQueueRef queue) {
    if (const auto schedule_slot = (*plug_in)->scheduleWithDispatchQueue) {
        schedule_slot(plug_in, queue);
    }
}

void unschedule(OndreQORHIDStatisticsRef plug_in, RvQueueRef queue) {
    if (const auto unschedule_slot = (*plug_in)->unscheduleFromDispatchQueue) {
        unschedule_slot(plug_in, queue);
    }
}

} // namespace

Module::Module(const std::string &path) : _path(path), _handle(load(path)), _factory(find_factory(path, _handle)) {}

void *Module::symbol(const char *name) const { return ::dlsym(_handle, name); }

HostedPlugIn::HostedPlugIn(const Module &module, SerialQueue &queue) : _queue(queue) {
    _queue.run([&] {
        OndreQORHIDStatisticsRef plug_in = create_plug_in(module);
        if (!open_plug_in(plug_in)) {
            release(plug_in);
            throw Error(module.path(), "open", "the plug-in refuses to open");
        }
        schedule(plug_in, _queue.handle());
        _plug_in = plug_in;
    });
}

HostedPlugIn::~HostedPlugIn() { stop(); }

void HostedPlugIn::register_services(const std::vector<std::unique_ptr<RvHIDService>> &services) {
    _queue.run([&] {
        const auto register_service = _plug_in == nullptr ? nullptr : (*_plug_in)->registerService;
        if (register_service == nullptr) {
            return;
        }
        for (const auto &service : services) {
            register_service(_plug_in, service.get());
        }
    });
}

void HostedPlugIn::stop() {
    _queue.run_if_open([this] {
        if (_plug_in == nullptr) {
            return;
        }
        unschedule(_plug_in, _queue.handle());
        close_plug_in(_plug_in);
        release(_plug_in);
        _plug_in = nullptr;
        _queue.close();
    });
    _queue.close();
}

} // namespace host
