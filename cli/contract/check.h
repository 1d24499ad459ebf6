/** The checks of the contract between a host and the module, and the tools they share. */
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
    std::string
        explained_by{}; ///< of a skipped check: the name of the check that fails for the same reason; may be empty
};

/** Thrown by a check that cannot run; `what()` gives the reason in one line. */
struct SkippedCheck : std::runtime_error {
    explicit SkippedCheck(const std::string &reason) : std::runtime_error(reason) {}
    /** @param check  the name of the check that fails for the same reason. */
    SkippedCheck(const std::string &reason, const char *check)
        : std::runtime_error(reason + "; see the check \"" + check + "\""), explained_by(check) {}

    std::string explained_by; ///< may be empty
};

/** Collects what a check finds wrong. */
class Findings {
public:
    void fail(const std::string &reason) { add(CheckStatus::Failed, reason); }
    void warn(const std::string &reason) { add(CheckStatus::Warning, reason); }
    void expect(bool holds, const std::string &reason) {
        if (!holds) {
            fail(reason);
        }
    }
    /** Fails with both numbers unless they are equal. @param what  was counted or returned. */
    void expect_equal(const std::string &what, std::uint64_t found, std::uint64_t expected);

    /** At most 8 reasons; a last one gives the number of others. */
    CheckResult result() const;

private:
    void add(CheckStatus status, const std::string &reason);

    CheckStatus _status = CheckStatus::Passed;
    std::vector<std::string> _reasons;
    std::size_t _further = 0;
};

/** The module under test, and the random numbers of one check. */
class CheckedModule {
public:
    /** @param seed  the same seed gives the same check the same numbers. */
    CheckedModule(std::string path, std::uint64_t seed, const std::string &check);

    const std::string &path() const { return _path; }

    /** Loads the module on the first call. @throws SkippedCheck when it cannot be loaded. */
    const host::Module &load();

    /** Calls the factory. @return its result, which may be null. */
    OndreQORHIDStatisticsRef call_factory(RvAllocatorRef allocator, const RvUUIDBytes &type);

    /**
     * Creates an object with one reference.
     * @throws SkippedCheck when the factory returns none, or one whose table lacks a promised slot: other checks fail.
     */
    OndreQORHIDStatisticsRef create(RvAllocatorRef allocator);

    /** Creates an object and releases it. @throws SkippedCheck as `create` does. */
    void require_object();

    std::uint64_t random() { return _random(); }
    RvUUIDBytes random_uuid();

private:
    std::string _path;
    std::optional<host::Module> _module;
    std::mt19937_64 _random;
};

/** Of a check that uses more of the platform library than the operations of platform/. */
constexpr bool kNeedsHost = true;

struct ContractCheck {
    const char *name;    ///< lower-case words joined by hyphens
    const char *promise; ///< one line: what holds when the check passes
    void (*run)(CheckedModule &module, Findings &findings);
    bool needs_host = false;
};

/** The checks of file_checks.cpp, object_checks.cpp and so on, in the order in which they run. */
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
/** In the 8-4-4-4-12 form. */
std::string text_of(const RvUUIDBytes &uuid);

} // namespace cli
