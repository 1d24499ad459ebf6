/** The port of the contract tests for the embedded host. */
#include <atomic>
#include <cstdlib>
#include <memory>

#include "host/allocator.h"
#include "host/log.h"
#include "host/tallybook_store.h"
#include "tests/contract/port.h"

namespace {

class HostAllocatorPort final : public contract::AllocatorPort {
public:
    RvAllocatorRef another_allocator() override { return &_counting; }
    RvAllocatorRef exhausted_allocator() override { return &_exhausted; }
    std::size_t pieces_in_use() override { return _counting.pieces; }

private:
    struct Counting final : RvAllocator {
        void *allocate(std::size_t size) const override {
            ++pieces;
            return std::malloc(size);
        }
        void deallocate(void *storage) const override {
            --pieces;
            std::free(storage);
        }

        mutable std::atomic<std::size_t> pieces{0};
    };

    struct Exhausted final : RvAllocator {
        void *allocate(std::size_t) const override { return nullptr; }
        void deallocate(void *) const override {}
    };

    Counting _counting;
    Exhausted _exhausted;
};

class HostLogPort final : public contract::LogPort {
public:
    void listen() override { _recorder = std::make_unique<host::LogRecorder>(); }
    void stop_listening() override { _recorder.reset(); }
    void enable(RvLogLevel level, bool enabled) override { host::enable_log_level(level, enabled); }

    std::vector<Message> messages() override {
        std::vector<Message> read;
        for (const host::LogMessage &message : _recorder->messages()) {
            read.push_back(Message{message.level, message.subsystem, message.category, message.text});
        }
        return read;
    }

private:
    std::unique_ptr<host::LogRecorder> _recorder;
};

class HostStorePort final : public contract::StorePort {
public:
    void clear() override { host::clear_store(); }
    std::map<std::string, std::int64_t> scalars() override { return host::store_contents().scalars; }

    std::map<std::string, std::vector<double>> distributions() override {
        std::map<std::string, std::vector<double>> read;
        for (const auto &[key, distribution] : host::store_contents().distributions) {
            for (const auto &[value, times] : distribution) {
                read[key].insert(read[key].end(), times, value);
            }
        }
        return read;
    }
};

class EmbeddedHostPort final : public contract::Port {
public:
    contract::AllocatorPort &allocator() override { return _allocator; }
    contract::LogPort &log() override { return _log; }
    contract::StorePort &store() override { return _store; }

private:
    HostAllocatorPort _allocator;
    HostLogPort _log;
    HostStorePort _store;
};

} // namespace

contract::Port &contract::port() {
    static EmbeddedHostPort instance;
    return instance;
}
