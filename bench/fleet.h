/** The dumps and stores of many devices, made up. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string_view>
#include <vector>

#include "host/store/analytics_store.h"

namespace bench {

/** What planted devices do and the others do not, so that there is a difference to be found. `size` says how much. */
enum class Planted {
    Nothing,
    SlowerFunction, ///< function 8516 (0x2144) itself takes `size` percent longer
    NewEvent,       ///< about `size` in 1000 steps end with an event that others never report: 2, 6, 7 of type 3
    LostReports,    ///< about `size` in 1000 steps lose up to 300 reports more
    ShiftedStore    ///< all values of the key `kShiftedKey` are greater by `size` percent
};

struct Plant {
    Planted what = Planted::Nothing;
    std::uint32_t size = 0;     ///< at most 10,000
    std::size_t devices = 9999; ///< so many, beginning with the fleet's first: 1 makes one sick device among many
};

struct Fleet {
    std::uint64_t seed = 1;
    std::size_t devices = 10;      ///< 1 to 9999
    std::size_t reports = 100'000; ///< of each device
    std::size_t first = 1;         ///< the number of the first device; that of the last is at most 9999
    Plant plant = {};
};

/** The distribution that `Planted::ShiftedStore` shifts. */
inline constexpr std::string_view kShiftedKey = "com.ondre.zel.button.click.duration";

/**
 * The dump of one device: whole reports of 48 bytes, the same ones on every call and every machine.
 *
 * About half are functions, a quarter events of sensors, interrupts and the scheduler; the rest are the button's,
 * wakes, data, annotations, triggers and what sensors are set to. A press, a wake and a reset of the kiru are
 * sequences, as firmware reports them. Time advances by 3 milliseconds on average and does not go back until the
 * coprocessor restarts, which it does on one device in 8: clock and sequence numbers then begin anew. Every device
 * loses reports now and then; on one device in 16 a function takes 8 times as long in the last third of the dump.
 *
 * What is planted draws its numbers apart from everything else, so that a device otherwise does the same with it as
 * without. What takes longer moves later time stamps, and added reports push others out of the end.
 * @param device  1 to 9999.
 */
std::vector<std::uint8_t> dump_of(const Fleet &fleet, std::size_t device);

/** The store of one device, the same on every call: scalars, and distributions of whole and broken values. */
host::StoreContents store_of(const Fleet &fleet, std::size_t device);

/**
 * Writes `device-0001.bin`, `device-0001.db` and so on, from the first device on. Existing dumps are replaced.
 * @param folder  made when it does not exist.
 * @throws host::Error when a file cannot be written, and for a store that exists.
 */
void write_fleet(const Fleet &fleet, const std::filesystem::path &folder);

} // namespace bench
