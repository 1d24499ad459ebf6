#include "cli/contract/check.h"

#include <exception>
#include <functional>
#include <utility>

#include "cli/terminal/hex.h"
#include "host/error.h"
#include "platform/Owned.h"

namespace cli {
namespace {

constexpr std::size_t kMostReasons = 8;

constexpr RvUUIDBytes kType = kOndreQORHIDStatisticsPlugInTypeBytes;

/** 64-bit FNV-1a: the same in every process and on every machine. */
std::uint64_t hash_of(const std::string &text) {
    std::uint64_t hash = 0xCBF29CE484222325;
    for (const char c : text) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    }
    return hash;
}

bool has_promised_slots(const OndreQORHIDStatisticsTable &table) {
    return table.QueryInterface != nullptr && table.AddRef != nullptr && table.Release != nullptr &&
           table.open != nullptr && table.close != nullptr && table.registerService != nullptr &&
           table.scheduleWithDispatchQueue != nullptr && table.unscheduleFromDispatchQueue != nullptr;
}

} // namespace

void Findings::expect_equal(const std::string &what, std::uint64_t found, std::uint64_t expected) {
    if (found != expected) {
        fail(what + ": " + std::to_string(found) + ", expected " + std::to_string(expected));
    }
}

void Findings::add(CheckStatus status, const std::string &reason) {
    if (status == CheckStatus::Failed && _status == CheckStatus::Warning) {
        _reasons.clear(); // failures take the place of warnings
        _further = 0;
    }
    if (_status == CheckStatus::Failed && status == CheckStatus::Warning) {
        return;
    }
    _status = status;
    if (_reasons.size() < kMostReasons) {
        _reasons.push_back(reason);
    } else {
        ++_further;
    }
}

CheckResult Findings::result() const {
    CheckResult result{_status, _reasons};
    if (_further > 0) {
        result.reasons.push_back("and " + std::to_string(_further) + " more");
    }
    return result;
}

CheckedModule::CheckedModule(std::string path, std::uint64_t seed, const std::string &check)
    : _path(std::move(path)), _random(seed ^ hash_of(check)) {}

const host::Module &CheckedModule::load() {
    if (!_module) {
        try {
            _module.emplace(_path);
        } catch (const host::Error &) {
            throw SkippedCheck("the module does not load", "loading");
        }
    }
    return *_module;
}

OndreQORHIDStatisticsRef CheckedModule::call_factory(RvAllocatorRef allocator, const RvUUIDBytes &type) {
    const platform::OwnedUUID wanted(RvUUIDCreateWithBytes(type));
    return static_cast<OndreQORHIDStatisticsRef>(load().factory()(allocator, wanted.get()));
}

OndreQORHIDStatisticsRef CheckedModule::create(RvAllocatorRef allocator) {
    OndreQORHIDStatisticsRef object = call_factory(allocator, kType);
    if (object == nullptr || *object == nullptr) {
        throw SkippedCheck("the factory returns no object", "factory-type");
    }
    if (!has_promised_slots(**object)) {
        throw SkippedCheck("a promised slot is null", "table-slots");
    }
    return object;
}

void CheckedModule::require_object() {
    OndreQORHIDStatisticsRef object = create(RvAllocatorGetDefault());
    (*object)->Release(object);
}

RvUUIDBytes CheckedModule::random_uuid() {
    RvUUIDBytes uuid{};
    for (std::uint8_t &byte : uuid.bytes) {
        byte = static_cast<std::uint8_t>(random());
    }
    return uuid;
}

std::vector<ContractCheck> contract_checks() {
    std::vector<ContractCheck> all;
    for (const auto &group : {std::cref(kFileChecks), std::cref(kObjectChecks), std::cref(kServiceChecks),
                              std::cref(kCaptureChecks), std::cref(kMemoryChecks)}) {
        all.insert(all.end(), group.get().begin(), group.get().end());
    }
    return all;
}

CheckResult run_check(const ContractCheck &check, const std::string &path, std::uint64_t seed) {
    CheckedModule module(path, seed, check.name);
    Findings findings;
    try {
        check.run(module, findings);
    } catch (const SkippedCheck &skipped) {
        return {CheckStatus::Skipped, {skipped.what()}, skipped.explained_by};
    } catch (const std::exception &error) {
        findings.fail(error.what());
    }
    return findings.result();
}

std::string hex_number(std::uint64_t number) {
    static constexpr const char *kDigits = "0123456789ABCDEF";
    std::string text;
    do {
        text.insert(text.begin(), kDigits[number % 16]);
        number /= 16;
    } while (number != 0);
    return "0x" + text;
}

std::string text_of(const RvUUIDBytes &uuid) {
    std::string text = hex({reinterpret_cast<const char *>(uuid.bytes), sizeof uuid.bytes});
    for (const std::size_t place : {20U, 16U, 12U, 8U}) {
        text.insert(place, "-");
    }
    return text;
}

} // namespace cli
