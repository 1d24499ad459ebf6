// Runs any SQL on any input: it is refused with one error, or ends within its limits; whatever it is, nothing changes,
// and the engine goes on.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "cli/questions/query_engine.h"
#include "cli/records/json.h"
#include "fuzz/input.h"
#include "fuzz/named_bytes.h"
#include "host/error.h"

namespace {

using fuzz::NamedBytes;
using fuzz::require;

/** Counts what comes, and holds it against the columns. */
class CountingSink : public cli::QuerySink {
public:
    void begin(const std::vector<std::string> &columns) override {
        require(!_is_open, "a result begins behind the end of the one before");
        _is_open = true;
        _columns = columns.size();
    }
    void add(std::span<const cli::QueryValue> row) override {
        require(_is_open && row.size() == _columns, "a row has a value for each column");
        for (const cli::QueryValue &value : row) {
            _sum += value.text.empty() ? 0 : static_cast<unsigned char>(value.text.back()); // all of it is there
        }
        last = row.front().integer;
    }
    void end() override { _is_open = false; }

    std::int64_t last = 0;

private:
    bool _is_open = false;
    std::size_t _columns = 0;
    std::uint64_t _sum = 0;
};

std::int64_t count_reports(cli::QueryEngine &engine) {
    CountingSink sink;
    engine.run("SELECT count(*) FROM reports", sink);
    return sink.last;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::size_t length = input.byte() | std::size_t{input.byte()} << 8;
    const std::vector<std::uint8_t> text = input.bytes(length);
    const NamedBytes file(input.rest(), false);
    cli::QueryOptions options;
    options.record_text = cli::record_line;
    options.timeout = std::chrono::milliseconds(300);
    options.memory = std::uint64_t{32} << 20;
    cli::RecordingSequence recordings({file.name()}, std::nullopt, cli::WantedRecordings::All, "device");
    cli::QueryEngine engine(std::move(recordings), std::move(options));
    const std::int64_t before = count_reports(engine);
    CountingSink sink;
    try {
        engine.run(std::string(text.begin(), text.end()), sink);
    } catch (const host::Error &error) {
        require(!error.reason().empty(), "an error has a reason");
    }
    require(count_reports(engine) == before, "a query changes nothing");
    return 0;
}
