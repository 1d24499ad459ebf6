/** One check of the contract between a host and the module, and what it works with. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/module/module.h"

namespace cli {

enum class CheckStatus { Passed, Failed, Crashed, Skipped, Warning };

struct CheckResult {
    CheckStatus status = CheckStatus::Passed;
    std::vector<std::string> reasons; ///< one line each
    std::string explained_by{};       ///< of a skipped check: the one that fails because of the reason; may be empty
};

/** Thrown by a check that cannot be made here; the text says why, as one line. */
struct SkippedCheck : std::runtime_error {
    explicit SkippedCheck(const std::string &reason) : std::runtime_error(reason) {}
    /** @param check  the name of the check that fails because of the reason. */
    SkippedCheck(const std::string &reason, const char *check)
        : std::runtime_error(reason + "; the check \"" + check + "\" says so"), explained_by(check) {}

    std::string explained_by; ///< may be empty
};

/** What a check finds wrong. */
class Findings {
public:
    void fail(const std::string &reason) { note(CheckStatus::Failed, reason); }
    void warn(const std::string &reason) { note(CheckStatus::Warning, reason); }
    void expect(bool holds, const std::string &reason) {
        if (!holds) {
            fail(reason);
        }
    }
    /** Fails with both numbers unless they are equal. @param what was counted or answered. */
    void expect_equal(const std::string &what, std::uint64_t found, std::uint64_t promised);

    /** The first reasons of many, and how many more there were. */
    CheckResult result() const;

private:
    void note(CheckStatus status, const std::string &reason);

    CheckStatus _status = CheckStatus::Passed;
    std::vector<std::string> _reasons;
    std::size_t _further = 0;
};

/** The module that is checked, and the numbers drawn for one check of it. */
class CheckedModule {
public:
    /** @param seed  equal seeds give a check of the same name the same numbers. */
    CheckedModule(std::string path, std::uint64_t seed, const std::string &check);

    const std::string &path() const { return _path; }

    /** The loaded module. @throws SkippedCheck when it cannot be loaded. */
    const host::Module &loaded();

    /** What the factory makes of a type, null included. */
    OndreQORHIDStatisticsRef make(RvAllocatorRef allocator, const RvUUIDBytes &type);

    /**
     * An object with one reference.
     * @throws SkippedCheck when the factory makes none, or one whose table lacks a promised slot: other checks say so.
     */
    OndreQORHIDStatisticsRef create(RvAllocatorRef allocator);

    /** Throws what `create` throws when there would be no object. */
    void require_object();

    std::uint64_t random() { return _random(); }
    RvUUIDBytes random_uuid();

private:
    std::string _path;
    std::optional<host::Module> _module;
    std::mt19937_64 _random;
};

struct ContractCheck {
    const char *name;    ///< of lower-case words, joined by hyphens
    const char *promise; ///< what holds when the check passes, in one line
    void (*run)(CheckedModule &module, Findings &findings);
};

/** The checks of each source file, in the order in which they are made. */
extern const std::vector<ContractCheck> kFileChecks;
extern const std::vector<ContractCheck> kObjectChecks;
extern const std::vector<ContractCheck> kServiceChecks;
extern const std::vector<ContractCheck> kCaptureChecks;
extern const std::vector<ContractCheck> kMemoryChecks;

/** Every check. */
std::vector<ContractCheck> contract_checks();

/** Runs one check in this process. */
CheckResult run_check(const ContractCheck &check, const std::string &path, std::uint64_t seed);

/** "0x80000004" */
std::string hex_number(std::uint64_t number);
/** The 8-4-4-4-12 form. */
std::string text_of(const RvUUIDBytes &uuid);

} // namespace cli
