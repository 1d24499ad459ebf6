#include "tests/cli/records/known_payloads.h"

namespace cli_tests {
namespace {

Dictionary click(std::int64_t down, std::int64_t up, std::int64_t play_asset, int down_latency, int up_latency) {
    Dictionary click;
    click.with("button down ts", down).with("button up ts", up).with("play asset ts", play_asset);
    click.with("button down to play asset", down_latency).with("button up to play asset", up_latency);
    return click;
}

} // namespace

Dictionary press_statistics() {
    Dictionary first = click(1019000, 1090000, 1090400, 310, 400);
    Dictionary second = click(1150000, 1210000, 1210350, 290, 350);
    Dictionary third = click(0, 0, 0, 0, 0);
    Dictionary press;
    press.with("click count", 2).with("turtle scans", 3);
    press.with("finger on ts", 1000000).with("start haptic ts", 1024000).with("second scan ts", 1004500);
    press.with("finger off ts", 1240000).with("finger detect to button down", 19000);
    press.with("click 1", first).with("click 2", second).with("click 3", third);
    Dictionary latency;
    latency.with("min_nz_latency_FD_to_BD", 12000).with("max_latency_FD_to_BD", 26000);
    latency.with("min_nz_latency_BC_to_PlayAsset", 250).with("max_latency_BC_to_PlayAsset", 700);
    latency.with("min_latency_Total", 13000).with("max_latency_Total", 40000);
    Dictionary statistics;
    statistics.with("last button press", press).with("latency", latency);
    return statistics;
}

Dictionary haptic_assets() {
    constexpr std::string_view kEvents[] = {
        "SingleDown",  "SingleUp",     "DoubleDown",  "DoubleUp",     "TripleDown",  "TripleUp",
        "SingleTapOn", "SingleTapOff", "DoubleTapOn", "DoubleTapOff", "TripleTapOn", "TripleTapOff",
        "DeepDown",    "DeepUp",       "LongPress",   "LongPressUp",  "(null)"};
    constexpr std::pair<std::string_view, std::string_view> kGains[] = {
        {"Slow", "1.000000"}, {"Medium", "0.875000"}, {"Fast", "-0.500000"}};
    Dictionary assets;
    for (const auto &[speed, gain] : kGains) {
        int slot = 0;
        for (const std::string_view event : kEvents) {
            const std::string enable = event == "(null)" ? "0" : "1";
            assets.with(std::string(speed) + "-" + std::string(event),
                        "enable=" + enable + " slot=" + std::to_string(slot++) + " gain=" + std::string(gain) +
                            " min=0 max=120");
        }
    }
    return assets;
}

Dictionary sensor_information() {
    constexpr const char *kMatrix =
        "1.000000 -0.031250 0.000000 | 0.000000 1.000000 0.000000 | 0.000000 0.000000 -32768.000000";
    Dictionary sensor;
    sensor.with("sensorType", "accel").with("manufacturer", "Maker").with("model", "Model 5");
    sensor.with("location", "B alternate=2");
    sensor.with("reportInterval", 10000).with("systickInterval", -1).with("startupTime", 30);
    sensor.with("sensorBatchInterval", 1).with("muxBatchInterval", 2).with("apBatchInterval", 3);
    sensor.with("apReportInterval", 4).with("endpointBatchCount", 5);
    sensor.with("decimationEnabled", 1).with("rawMode", 0).with("factoryMode", 0);
    sensor.with("calibrationComplete", 1).with("intCal", 0).with("calibrationOffset", "-1 2 3");
    sensor.with("calibrationMatrix", kMatrix).with("compassSensitivityCalibrationMatrix", kMatrix);
    sensor.with("orientationMatrix", "1 0 0, 0 -1 0, 0 0 -128");
    sensor.with("registers", "R00=00 R02=0e R04=1c R06=2a R08=38 R0a=46 R0c=54 R0e=62 R10=70 R1fe=7e ");
    sensor.with("extra0", "drift 5").with("extra2", "two").with("extra10", "ten");
    sensor.with("client0", "backlight: report=20000 batch=0 threshold=1 timelimit=0");
    sensor.with("client2", "x: report=-1 batch=0 threshold=100 timelimit=0");
    sensor.with("client11", ": report=1 batch=2 threshold=3 timelimit=4");
    sensor.with("APEvents", "1234 [enqueued=1200 dropped=3; event_delta=12.500000 dropped_delta=0.250000]\n");
    return sensor;
}

} // namespace cli_tests
