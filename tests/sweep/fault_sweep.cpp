// Makes every call of every operation that can fail do so, in complete runs of the built module on a described device,
// and checks the effects of each failure.

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <set>

#include <unistd.h>

#include "host/RvPlugIn.h"
#include "host/TallybookStore.h"
#include "host/fault_points.h"
#include "platform/RvStateCapture.h"
#include "qor/analytics.h"
#include "tests/sweep/analytics_model.h"
#include "tests/sweep/expectations.h"
#include "tests/sweep/module_memory.h"
#include "tests/sweep/subject.h"

namespace sweep {
namespace {

/** Captures come first: every start leaves entries in the registry, which slow down look-ups by name. */
constexpr Run kRuns[] = {kFaultCapture, kRequestCapture, kAnalyticsBatch, kStart, kShutdown};
constexpr RvUUIDBytes kFactory = kOndreQORHIDStatisticsFactoryBytes;

/** One failure: the operation, the number of its first failing call, and whether later calls fail too. */
struct Strike {
    Run run;
    std::string operation;
    std::uint64_t call;
    host::Strikes strikes;
};

std::string to_string(const Strike &strike) {
    return std::string(name_of(strike.run)) + ", " + strike.operation + ", call " + std::to_string(strike.call) +
           (strike.strikes == host::Strikes::Once ? ", once" : ", for good");
}

// ---- the operations: the platform's, and the module's own memory

std::vector<std::string> operations() {
    std::vector<std::string> names{kModuleMemory};
    for (const host::FaultCount &count : host::fault_counts()) {
        names.push_back(count.operation);
    }
    return names;
}

void count_calls() {
    module_memory::count();
    host::count_fault_calls();
}

void arm(const Strike &strike) {
    if (strike.operation == kModuleMemory) {
        module_memory::arm(strike.call, strike.strikes);
    } else {
        host::arm_fault(strike.operation, strike.call, strike.strikes);
    }
}

void disarm() {
    module_memory::disarm();
    host::disarm_faults();
}

/** Calls, or strikes, by operation since the last arming or counting. */
std::map<std::string, std::uint64_t> counts(bool of_strikes) {
    std::map<std::string, std::uint64_t> all;
    all[kModuleMemory] = of_strikes ? module_memory::strikes() : module_memory::calls();
    for (const host::FaultCount &count : host::fault_counts()) {
        all[count.operation] = of_strikes ? count.strikes : count.calls;
    }
    return all;
}

// ---- where a crash happens

char current_strike[256] = "before the first strike";

struct CrashSignal {
    int number;
    struct sigaction previous;
};
CrashSignal crash_signals[] = {{SIGSEGV, {}}, {SIGBUS, {}}, {SIGILL, {}}, {SIGFPE, {}}, {SIGABRT, {}}};

/** Prints the strike, then calls the former handler. */
void name_strike(int number) {
    static constexpr char prefix[] = "\ncrashed: ";
    [[maybe_unused]] auto written = ::write(STDOUT_FILENO, prefix, sizeof prefix - 1);
    written = ::write(STDOUT_FILENO, current_strike, std::strlen(current_strike));
    written = ::write(STDOUT_FILENO, "\n", 1);
    for (const CrashSignal &crash : crash_signals) {
        if (crash.number == number) {
            ::sigaction(number, &crash.previous, nullptr);
        }
    }
    if (number == SIGABRT) {
        ::raise(number);
    }
}

void name_strike_in_crashes() {
    for (CrashSignal &crash : crash_signals) {
        struct sigaction action {};
        action.sa_handler = name_strike;
        ::sigaction(crash.number, &action, &crash.previous);
    }
}

// ---- the sweep

struct Options {
    std::string module;
    std::string device;
    std::string scratch;    ///< a folder of its own
    std::string only;       ///< a part of "RUN, OPERATION," that selects strikes; empty: all
    std::size_t sample = 0; ///< 0: everything
    std::uint64_t seed = 0;
};

/** Observations of a life in which nothing fails. */
struct Undisturbed {
    Facts facts;
    Records request;
    Records fault;
    Holdings started;
    Holdings ended;
    Facts facts_at_end;
    std::map<Run, std::map<std::string, std::uint64_t>> calls;
};

struct Tally {
    std::uint64_t cases = 0;
    std::uint64_t once = 0;
    std::uint64_t for_good = 0;

    std::uint64_t strikes() const { return once + for_good; }
};

class Sweep {
public:
    explicit Sweep(Options options) : _options(std::move(options)), _module(_options.module) {
        module_memory::watch(_module);
    }

    bool run() {
        take_undisturbed();
        if (_options.sample == 0) {
            sweep_everything();
        } else {
            sweep_sample();
        }
        print_tallies();
        check_coverage();
        check_still_undisturbed();
        std::printf("%llu failures\n", static_cast<unsigned long long>(_failures));
        return _failures == 0;
    }

private:
    void fail(const std::string &where, const std::string &what) {
        ++_failures;
        std::printf("FAILED %s: %s\n", where.c_str(), what.c_str());
    }

    void fail(const Strike &strike, const std::string &what, const std::vector<std::string> &lines = {},
              const Differences &differences = {}) {
        fail(to_string(strike), what);
        constexpr std::size_t kMost = 8;
        for (std::size_t i = 0; i < std::min(lines.size(), kMost); ++i) {
            std::printf("    line: %s\n", lines[i].c_str());
        }
        for (std::size_t i = 0; i < std::min(differences.size(), kMost); ++i) {
            std::printf("    %s\n", to_string(differences[i]).c_str());
        }
    }

    // ---- undisturbed

    void take_undisturbed() {
        { // create now what is created once per process
            Subject warm(_module, _options.device);
            warm.start();
            warm.deliver();
            warm.capture(kRvStateCaptureRequest);
        }
        host::clear_store();
        Subject subject(_module, _options.device);
        count_calls_of(kStart, [&] { subject.start(); });
        _undisturbed.started = subject.holdings();
        _undisturbed.facts = subject.facts();
        check_undisturbed_holdings();
        count_calls_of(kFaultCapture, [&] { _undisturbed.fault = subject.capture(kRvStateCaptureFault); });
        count_calls_of(kRequestCapture, [&] { _undisturbed.request = subject.capture(kRvStateCaptureRequest); });
        count_calls_of(kAnalyticsBatch, [&] { subject.deliver(); });
        check_analytics(subject, {}, "undisturbed", true);
        count_calls_of(kShutdown, [&] { subject.shut_down(); });
        _undisturbed.facts_at_end = facts_at_end(subject);
        const auto lines = subject.take_lines();
        if (!lines.empty()) {
            fail("undisturbed", "it logs " + lines.front());
        }
        subject.end();
        _undisturbed.ended = subject.holdings();
        if (_undisturbed.ended.values != qor::analytics::kKeyCount) {
            fail("undisturbed", "values other than the key strings remain: " + to_string(_undisturbed.ended));
        }
    }

    template <typename Work>
    void count_calls_of(Run run, Work work) {
        count_calls();
        work();
        disarm();
        _undisturbed.calls[run] = counts(false);
    }

    /** Runs last: no earlier failure may show in a new life. */
    void check_still_undisturbed() {
        Subject subject(_module, _options.device);
        subject.start();
        Differences differences;
        compare(_undisturbed.facts, subject.facts(), differences);
        compare(_undisturbed.fault, subject.capture(kRvStateCaptureFault), differences);
        compare(_undisturbed.request, subject.capture(kRvStateCaptureRequest), differences);
        for (const Difference &difference : differences) {
            fail("a new life after the sweep", to_string(difference));
        }
    }

    // ---- choosing strikes

    void sweep_everything() {
        for (const Run run : kRuns) {
            for (const std::string &operation : operations()) {
                if (!is_wanted(run, operation)) {
                    continue;
                }
                for (const host::Strikes strikes : {host::Strikes::Once, host::Strikes::ForGood}) {
                    std::uint64_t call = 0;
                    while (strike({run, operation, call, strikes})) {
                        ++call;
                    }
                }
            }
            _lasting.reset();
        }
    }

    void sweep_sample() {
        std::vector<Strike> all;
        for (const auto &[run, calls] : _undisturbed.calls) {
            for (const auto &[operation, count] : calls) {
                if (!is_wanted(run, operation)) {
                    continue;
                }
                for (std::uint64_t call = 0; call < count; ++call) {
                    all.push_back({run, operation, call, host::Strikes::Once});
                    all.push_back({run, operation, call, host::Strikes::ForGood});
                }
            }
        }
        std::printf("%zu of %zu strikes, seed %llu\n", std::min(_options.sample, all.size()), all.size(),
                    static_cast<unsigned long long>(_options.seed));
        std::mt19937_64 random(_options.seed);
        std::shuffle(all.begin(), all.end(), random);
        all.resize(std::min(_options.sample, all.size()));
        const auto order = [](Run run) { return std::find(std::begin(kRuns), std::end(kRuns), run); };
        std::stable_sort(all.begin(), all.end(),
                         [&](const Strike &a, const Strike &b) { return order(a.run) < order(b.run); });
        Run current = kRuns[0];
        for (const Strike &chosen : all) {
            if (chosen.run != current) {
                _lasting.reset();
                current = chosen.run;
            }
            if (!strike(chosen)) {
                fail(chosen, "the call was not made");
            }
        }
        _lasting.reset();
    }

    /** Whether the process makes the call only once, so that the strike needs a freshly loaded module. */
    static bool happens_once(Run run, const std::string &operation) {
        return (run == kStart && operation == "RvLogCreate") ||
               (run == kAnalyticsBatch && operation == "TvStringCreateWithCString");
    }

    bool is_wanted(Run run, const std::string &operation) const {
        return (name_of(run) + (", " + operation) + ",").find(_options.only) != std::string::npos;
    }

    /** @return whether anything was struck. */
    bool strike(const Strike &chosen) {
        std::snprintf(current_strike, sizeof current_strike, "%s", to_string(chosen).c_str());
        const std::uint64_t strikes = struck(chosen);
        disarm();
        Tally &tally = _tallies[{chosen.run, chosen.operation}];
        if (strikes > 0) {
            ++tally.cases;
            (chosen.strikes == host::Strikes::Once ? tally.once : tally.for_good) += strikes;
        }
        return strikes > 0;
    }

    std::uint64_t struck(const Strike &chosen) {
        if (happens_once(chosen.run, chosen.operation)) {
            _lasting.reset(); // a device is in the registry once
            const host::Module fresh(copy_module());
            module_memory::watch(fresh);
            return struck(chosen, fresh);
        }
        // Nothing to strike: saves the cost of a life.
        const auto &calls = _undisturbed.calls[chosen.run];
        if (const auto found = calls.find(chosen.operation); found == calls.end() || found->second == 0) {
            return 0;
        }
        return struck(chosen, _module);
    }

    std::uint64_t struck(const Strike &chosen, const host::Module &module) {
        switch (chosen.run) {
        case kStart:
            return struck_start(chosen, module);
        case kFaultCapture:
            return struck_capture(chosen, kRvStateCaptureFault, _undisturbed.fault);
        case kRequestCapture:
            return struck_capture(chosen, kRvStateCaptureRequest, _undisturbed.request);
        case kAnalyticsBatch:
            return struck_analytics(chosen, module);
        default:
            return struck_shutdown(chosen);
        }
    }

    /** Copies the module, since a new file loads as a new module. The copy is kept: sanitizers look up its symbols at
     * exit. */
    std::string copy_module() {
        namespace fs = std::filesystem;
        fs::create_directories(_options.scratch);
        const fs::path copy = fs::path(_options.scratch) / ("module-" + std::to_string(_copies++) + ".so");
        fs::remove(copy);
        fs::copy_file(_options.module, copy);
        return copy.string();
    }

    // ---- judging

    /** Runs `work` with the strike armed. @return how often it struck. */
    template <typename Work>
    static std::uint64_t with_strike(const Strike &chosen, Work work) {
        arm(chosen);
        work();
        const std::uint64_t strikes = counts(true)[chosen.operation];
        disarm();
        return strikes;
    }

    void judge_strike(const Strike &chosen, const std::vector<std::string> &lines, const Differences &differences) {
        const Expectation *row = expectation(chosen.run, chosen.operation);
        if (row == nullptr) {
            fail(chosen, "no expectation for this operation in this run", lines, differences);
            return;
        }
        const std::string verdict = judge(*row, chosen.strikes == host::Strikes::Once, lines, differences);
        if (!verdict.empty()) {
            fail(chosen, verdict, lines, differences);
        }
    }

    void check_equal(const Strike &chosen, const char *what, const Holdings &before, const Holdings &after) {
        if (!(before == after)) {
            fail(chosen,
                 std::string(what) + " holds (" + to_string(after) + ") instead of (" + to_string(before) + ")");
        }
    }

    // ---- start to registered

    std::uint64_t struck_start(const Strike &chosen, const host::Module &module) {
        Subject subject(module, _options.device);
        const std::uint64_t strikes = with_strike(chosen, [&] { subject.start(); });
        const std::vector<std::string> lines = subject.take_lines();
        if (strikes > 0) {
            check_start_holdings(chosen, strikes, subject.holdings());
            Differences differences = differences_after_start(subject);
            judge_strike(chosen, lines, differences);
            check_recovery(chosen, subject, differences);
        }

        subject.end();
        const bool loses_keys = chosen.operation == "TvStringCreateWithCString";
        const std::int64_t lost_keys = loses_keys ? static_cast<std::int64_t>(strikes) : 0;
        const Holdings ended = subject.holdings();
        const bool only_array_is_left = ended.allocator_blocks <= _undisturbed.ended.allocator_blocks;
        if (ended.values != qor::analytics::kKeyCount - lost_keys || !only_array_is_left || ended.connections != 0) {
            fail(chosen, "expected exactly the key strings and the array to remain: " + to_string(ended));
        }
        return strikes;
    }

    Differences differences_after_start(Subject &subject) {
        Facts facts = subject.facts();
        if (!has_every_callback(facts)) {
            hide_keys(facts);
        }
        Differences differences;
        compare(_undisturbed.facts, facts, differences);
        subject.take_lines();
        compare(_undisturbed.request, subject.capture(kRvStateCaptureRequest), differences);
        note_conditions(subject.take_lines(), differences);
        return differences;
    }

    bool has_every_callback(const Facts &facts) const {
        return std::all_of(_undisturbed.facts.begin(), _undisturbed.facts.end(), [&](const auto &fact) {
            return fact.first.rfind("callback", 0) != 0 || facts.contains(fact.first);
        });
    }

    /** Without a callback the keys cannot be observed. */
    void hide_keys(Facts &facts) const {
        for (const auto &[name, value] : _undisturbed.facts) {
            if (name.rfind("key ", 0) == 0) {
                facts[name] = value;
            }
        }
    }

    /** The conditions that an undisturbed capture logs, each once. */
    static void note_conditions(const std::vector<std::string> &lines, Differences &differences) {
        std::set<std::string> conditions;
        for (const std::string &line : lines) {
            const std::string begin = ": Kelmarks: ";
            const bool is_assertion = line.rfind(begin, 0) == 0;
            conditions.insert(is_assertion ? line.substr(begin.size(), line.find(", ") - begin.size()) : line);
        }
        for (const std::string &condition : conditions) {
            differences.push_back({Difference::Gained, "a capture says " + condition});
        }
    }

    static std::int64_t all_entry_references(const Holdings &held) {
        return static_cast<std::int64_t>(
            std::accumulate(held.entry_references.begin(), held.entry_references.end(), std::size_t{0}));
    }

    /** Each kept service holds its two entries and, where it has plug-ins, their two interfaces, and nothing else. */
    void check_undisturbed_holdings() {
        const Holdings &held = _undisturbed.started;
        const auto kept = std::stoll(_undisturbed.facts.at("kept services"));
        constexpr std::size_t kObjectArrayAndItsStorage = 3;
        if (all_entry_references(held) != 2 * kept || held.plug_in_references > 2 * kept || held.connections != 0 ||
            held.allocator_blocks != kObjectArrayAndItsStorage) {
            fail("undisturbed", "it holds (" + to_string(held) + ")");
        }
        _every_service_has_plug_ins = held.plug_in_references == 2 * kept;
    }

    /** A failed registration never releases what it holds, but it holds no more than a successful one. */
    void check_start_holdings(const Strike &chosen, std::uint64_t strikes, const Holdings &held) {
        const Holdings &most = _undisturbed.started;
        bool fits = held.connections == 0 && held.plug_in_references <= most.plug_in_references &&
                    held.hid_devices <= most.hid_devices && held.allocator_blocks <= most.allocator_blocks;
        for (std::size_t i = 0; i < held.entry_references.size(); ++i) {
            fits = fits && held.entry_references[i] <= most.entry_references[i];
        }
        if (const HeldLess *less = held_less(chosen.operation); less != nullptr && _every_service_has_plug_ins) {
            const auto times = static_cast<std::int64_t>(strikes);
            fits = fits && held.plug_in_references == most.plug_in_references - less->plug_in_references * times &&
                   all_entry_references(held) == all_entry_references(most) - less->entry_references * times;
        }
        if (!fits) {
            fail(chosen, "it holds (" + to_string(held) + "); undisturbed (" + to_string(most) + ")");
        }
    }

    /**
     * After a second start everything is present, except what an object creates only once and failed to create; and a
     * service kept without an interface still logs it.
     */
    static bool may_stay_away(const Difference &difference) {
        static constexpr const char *kMadeOnce[] = {"key ", "ZEL Profile ", "notification", "factory instances",
                                                    "a capture says "};
        return std::any_of(std::begin(kMadeOnce), std::end(kMadeOnce),
                           [&](const char *name) { return difference.where.rfind(name, 0) == 0; });
    }

    void check_recovery(const Strike &chosen, Subject &subject, const Differences &before) {
        const std::int64_t kept_before = subject.kept_services();
        subject.start_again();
        Facts facts = subject.facts();
        const auto kept = std::stoll(_undisturbed.facts.at("kept services"));
        if (subject.kept_services() != kept_before + kept) {
            fail(chosen, "after a second start it keeps " + std::to_string(subject.kept_services() - kept_before) +
                             " services");
        }
        facts["kept services"] = _undisturbed.facts.at("kept services");
        Differences after;
        compare(_undisturbed.facts, facts, after);
        compare_presence(_undisturbed.request, subject.capture(kRvStateCaptureRequest), after);
        note_conditions(subject.take_lines(), after);
        for (const Difference &difference : after) {
            const bool was_away = std::any_of(before.begin(), before.end(), [&](const Difference &one) {
                return one.kind == difference.kind && one.where == difference.where;
            });
            // Without a callback the keys could not be observed before.
            const bool is_hidden_key = difference.where.rfind("key ", 0) == 0;
            if (!may_stay_away(difference) || (!was_away && !is_hidden_key)) {
                fail(chosen, "after a second start, " + to_string(difference));
            }
        }
    }

    // ---- captures

    /** The object that all strikes of a run share. */
    Subject &lasting() {
        if (_lasting == nullptr) {
            _lasting = std::make_unique<Subject>(_module, _options.device);
            _lasting->start();
        }
        return *_lasting;
    }

    std::uint64_t struck_capture(const Strike &chosen, std::uint32_t kind, const Records &undisturbed) {
        Subject &subject = lasting();
        const Holdings before = subject.holdings();
        Records seen;
        const std::uint64_t strikes = with_strike(chosen, [&] { seen = subject.capture(kind); });
        const std::vector<std::string> lines = subject.take_lines();
        if (strikes == 0) {
            return 0;
        }
        check_equal(chosen, "it", before, subject.holdings());
        Differences differences;
        compare(undisturbed, seen, differences);
        judge_strike(chosen, lines, differences);

        Differences afterwards;
        compare(undisturbed, subject.capture(kind), afterwards);
        if (const auto said = subject.take_lines(); !said.empty() || !afterwards.empty()) {
            fail(chosen, "the next capture is not clean", said, afterwards);
        }
        return strikes;
    }

    // ---- analytics

    std::uint64_t struck_analytics(const Strike &chosen, const host::Module &module) {
        std::unique_ptr<Subject> own;
        const bool is_fresh = &module != &_module;
        if (is_fresh) {
            own = std::make_unique<Subject>(module, _options.device);
            own->start();
        }
        Subject &subject = own ? *own : lasting();
        subject.take_lines();
        host::clear_store();
        const Holdings before = subject.holdings();
        const std::uint64_t strikes = with_strike(chosen, [&] { subject.deliver(); });
        if (strikes == 0) {
            return 0;
        }
        if (!is_fresh) {
            check_equal(chosen, "it", before, subject.holdings());
        }
        if (expectation(chosen.run, chosen.operation) == nullptr) {
            fail(chosen, "no expectation for this operation in this run");
        }
        check_analytics(subject, {chosen.operation, chosen.call, chosen.strikes}, to_string(chosen), !is_fresh);
        subject.deliver();
        check_analytics(subject, {}, "after " + to_string(chosen), !is_fresh);
        return strikes;
    }

    /** Compares the store and the log with the model, in which the failed calls have no effect. */
    void check_analytics(Subject &subject, const LeftOut &left_out, const std::string &where, bool has_fallback_key) {
        const std::vector<std::byte> entries = subject.analytics_entries();
        const AnalyticsOutcome expected = expected_analytics(entries, left_out, has_fallback_key);
        if (!(host::store_contents() == expected.contents)) {
            fail(where, "the store differs from the model without the failed calls");
        }
        host::clear_store();
        if (subject.take_lines() != expected.lines) {
            fail(where, "the log differs from the model without the failed calls");
        }
    }

    // ---- shutdown

    static Facts facts_at_end(Subject &subject) {
        return {{"count", std::to_string(subject.last_count())},
                {"factory instances", std::to_string(host::factory_instance_count(kFactory))}};
    }

    std::uint64_t struck_shutdown(const Strike &chosen) {
        Subject subject(_module, _options.device);
        subject.start();
        const Holdings before = subject.holdings();
        const std::uint64_t strikes = with_strike(chosen, [&] { subject.shut_down(); });
        const std::vector<std::string> lines = subject.take_lines();
        if (strikes == 0) {
            return 0;
        }
        Differences differences;
        compare(_undisturbed.facts_at_end, facts_at_end(subject), differences);
        judge_strike(chosen, lines, differences);
        const Holdings held = subject.holdings();
        if (held.values != before.values || held.allocator_blocks != before.allocator_blocks - 1) {
            fail(chosen, "expected exactly the object to be freed");
        }
        if (!differences.empty()) { // the host then still counts the object
            RvPlugInRemoveInstanceForFactory(RvUUIDGetConstantWithBytes(kFactory));
        }
        return strikes;
    }

    // ---- the report

    void print_tallies() {
        std::printf("%-22s %-36s %8s %11s %8s %9s\n", "run", "operation", "calls", "struck runs", "once", "for good");
        for (const auto &[place, tally] : _tallies) {
            const auto &[run, operation] = place;
            if (tally.cases > 0) {
                std::printf("%-22s %-36s %8llu %11llu %8llu %9llu\n", name_of(run), operation.c_str(),
                            static_cast<unsigned long long>(_undisturbed.calls[run][operation]),
                            static_cast<unsigned long long>(tally.cases), static_cast<unsigned long long>(tally.once),
                            static_cast<unsigned long long>(tally.for_good));
            }
        }
        std::map<std::string, Tally> by_operation;
        Tally all;
        for (const auto &[place, tally] : _tallies) {
            for (Tally *sum : {&by_operation[place.second], &all}) {
                sum->cases += tally.cases;
                sum->once += tally.once;
                sum->for_good += tally.for_good;
            }
        }
        std::printf("\n%-36s %14s\n", "operation", "faults fired");
        for (const auto &[operation, tally] : by_operation) {
            std::printf("%-36s %14llu\n", operation.c_str(), static_cast<unsigned long long>(tally.strikes()));
        }
        std::printf("%-36s %14llu in %llu struck runs\n\n", "all", static_cast<unsigned long long>(all.strikes()),
                    static_cast<unsigned long long>(all.cases));
    }

    /** A sweep must strike; a complete one must strike every operation that can fail, exemptions aside. */
    void check_coverage() {
        if (std::all_of(_tallies.begin(), _tallies.end(), [](const auto &entry) { return entry.second.cases == 0; })) {
            fail("the sweep", "nothing was struck");
        }
        if (_options.sample != 0 || !_options.only.empty()) {
            return;
        }
        for (const std::string &operation : operations()) {
            const bool was_struck = std::any_of(_tallies.begin(), _tallies.end(), [&](const auto &entry) {
                return entry.first.second == operation && entry.second.cases > 0;
            });
            const auto &exempt = exemptions();
            const auto exemption = std::find_if(exempt.begin(), exempt.end(),
                                                [&](const Exemption &one) { return operation == one.operation; });
            if (exemption != exempt.end()) {
                std::printf("not struck: %s: %s\n", operation.c_str(), exemption->reason);
            }
            if (was_struck == (exemption != exempt.end())) {
                fail(operation, was_struck ? "struck in spite of its exemption" : "never struck");
            }
        }
    }

    const Options _options;
    const host::Module _module;
    Undisturbed _undisturbed;
    bool _every_service_has_plug_ins = false;
    std::unique_ptr<Subject> _lasting;
    std::map<std::pair<Run, std::string>, Tally> _tallies;
    std::uint64_t _failures = 0;
    int _copies = 0;
};

bool read_options(int argc, char **argv, Options &options) {
    std::map<std::string, std::function<void(const std::string &)>> known{
        {"--module", [&](const std::string &value) { options.module = value; }},
        {"--device", [&](const std::string &value) { options.device = value; }},
        {"--scratch", [&](const std::string &value) { options.scratch = value; }},
        {"--only", [&](const std::string &value) { options.only = value; }},
        {"--sample", [&](const std::string &value) { options.sample = std::stoull(value); }},
        {"--seed", [&](const std::string &value) { options.seed = std::stoull(value); }},
    };
    options.seed = std::random_device{}();
    for (int i = 1; i < argc; i += 2) {
        const auto found = known.find(argv[i]);
        if (found == known.end() || i + 1 == argc) {
            return false;
        }
        found->second(argv[i + 1]);
    }
    return !options.module.empty() && !options.device.empty() && !options.scratch.empty();
}

} // namespace
} // namespace sweep

int main(int argc, char **argv) try {
    sweep::Options options;
    if (!sweep::read_options(argc, argv, options)) {
        std::fprintf(stderr,
                     "usage: %s --module FILE --device FILE --scratch FOLDER [--only \"RUN, OPERATION,\"] "
                     "[--sample COUNT] [--seed SEED]\n",
                     argv[0]);
        return 2;
    }
    sweep::name_strike_in_crashes();
    return sweep::Sweep(options).run() ? 0 : 1;
} catch (const std::exception &error) {
    std::fprintf(stderr, "fault_sweep: %s\n", error.what());
    return 2;
}
