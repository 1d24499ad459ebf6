#include "cli/page/comparison_section.h"

#include "cli/terminal/json_text.h"
#include "cli/terminal/text_style.h"

namespace cli {
namespace {

Json curve_json(const FindingDrawing::Curve &curve) {
    Json json = Json::array();
    for (const auto &[value, share] : curve) {
        Json point = Json::array();
        point.push_back(number_for_scripts(value));
        point.push_back(share);
        json.push_back(std::move(point));
    }
    return json;
}

Json devices_json(const std::vector<FindingDrawing::Device> &devices) {
    Json json = Json::array();
    for (const FindingDrawing::Device &device : devices) {
        json.push_back(Json::object({{"device", escape_controls(device.name)},
                                     {"side", device.is_of_b ? "b" : "a"},
                                     {"median", number_for_scripts(device.median)},
                                     {"moved", device.has_moved}}));
    }
    return json;
}

} // namespace

PageSection comparison_section(Json figures, const std::vector<FindingDrawing> &drawings) {
    Json drawn = Json::array();
    for (const FindingDrawing &drawing : drawings) {
        drawn.push_back(Json::object({{"label", escape_controls(drawing.label)},
                                      {"curve_a", curve_json(drawing.curve_a)},
                                      {"curve_b", curve_json(drawing.curve_b)},
                                      {"devices", devices_json(drawing.devices)}}));
    }
    return {"comparison", "Comparison",
            Json::object({{"figures", std::move(figures)}, {"drawings", std::move(drawn)}})};
}

} // namespace cli
