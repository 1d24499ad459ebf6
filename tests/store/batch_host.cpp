/**
 * A host that delivers batches to the plug-in, one for each byte on standard input, until its end:
 *
 *     batch_host MODULE STORE BATCHES [--torn]
 *
 * BATCHES has, for each batch, its number of entries (32 bits, little-endian) and the entries; at least one batch for
 * each byte on standard input. The program writes a "b" to standard output before a batch and a "d" after it. With
 * --torn the operations of a batch are not joined: each is written by itself.
 *
 *     batch_host --read STORE
 *
 * reads a store again and again until its standard input ends.
 */
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <span>
#include <string>
#include <string_view>

#include <poll.h>
#include <unistd.h>

#include "host/RvQueue.h"
#include "host/TallybookStore.h"
#include "host/device/played_qor.h"
#include "host/error.h"
#include "host/module/module.h"

namespace {

constexpr std::size_t kEntrySize = 7;

std::string content_of(const char *file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

std::size_t number_at(std::string_view bytes) {
    std::size_t number = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        number |= static_cast<std::size_t>(static_cast<unsigned char>(bytes[i])) << (8 * i);
    }
    return number;
}

void write_mark(char mark) {
    if (write(STDOUT_FILENO, &mark, 1) != 1) {
        throw host::Error("standard output", "", "cannot be written");
    }
}

/** Waits for the request of one more batch. @return false at the end of standard input. */
bool wait_for_request() {
    char request = 0;
    return read(STDIN_FILENO, &request, 1) == 1;
}

/** The plug-in with a service that delivers analytics. */
class Host {
public:
    explicit Host(const char *module) : _module(module), _plug_in(_module, _queue) {
        std::vector<std::unique_ptr<RvHIDService>> services;
        services.push_back(std::make_unique<RvHIDService>(_qor.tallybook_service({})));
        _plug_in.register_services(services);
    }

    void deliver(std::span<const std::byte> entries) {
        if (!_qor.device->deliver_batch(entries)) {
            throw host::Error("", "", "nothing takes batches");
        }
    }

    /** Calls the callback without joining its operations to a batch. */
    void deliver_torn(std::span<const std::byte> entries) {
        const QorAnalyticsCallback callback = _qor.device->analytics_callback();
        _queue.run([&] { callback(_qor.device->target(), entries.data(), entries.size() / kEntrySize); });
    }

    void stop() { _plug_in.stop(); }

private:
    host::PlayedQor _qor;
    host::Module _module;
    host::SerialQueue _queue;
    host::HostedPlugIn _plug_in;
};

void deliver_all(const char *module, const char *store, const char *batches, bool torn) {
    const std::string content = content_of(batches);
    host::open_store(store);
    Host host(module);
    for (std::string_view rest = content; wait_for_request();) {
        const std::size_t size = number_at(rest) * kEntrySize;
        const auto entries = std::as_bytes(std::span(rest.substr(4, size)));
        write_mark('b');
        torn ? host.deliver_torn(entries) : host.deliver(entries);
        write_mark('d');
        rest.remove_prefix(4 + size);
    }
    host.stop();
    host::close_store();
}

/** Reads a store until the end of standard input. */
void read_again_and_again(const char *store) {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    while (poll(&input, 1, 0) == 0) {
        host::read_analytics_store(store);
    }
}

} // namespace

int main(int argc, char **argv) {
    if (argc == 3 && argv[1] == std::string_view("--read")) {
        read_again_and_again(argv[2]);
        return 0;
    }
    if (argc != 4 && argc != 5) {
        return 2;
    }
    try {
        deliver_all(argv[1], argv[2], argv[3], argc == 5 && argv[4] == std::string_view("--torn"));
    } catch (const std::exception &failure) {
        std::fprintf(stderr, "batch_host: %s\n", failure.what());
        return 1;
    }
}
