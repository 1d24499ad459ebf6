#include "cli/comparison/side.h"

#include "qor/meanings.h"

namespace cli {

MeasureForm form_of(const MeasureId &measure) {
    switch (measure.kind) {
    case MeasureKind::FunctionDuration:
    case MeasureKind::FunctionNesting:
    case MeasureKind::Interval:
    case MeasureKind::Latency:
        return {ValueForm::Whole, 0};
    case MeasureKind::PayloadField:
        for (const qor::LayoutMeaning &row : qor::kLayoutMeanings) {
            for (const qor::Field &field : row.layout->fields) {
                if (row.layout->name == measure.layout && field.name == measure.text) {
                    return field.how == qor::How::FixedPoint ? MeasureForm{ValueForm::Fixed, field.parameter}
                                                             : MeasureForm{ValueForm::Whole, 0};
                }
            }
        }
        break;
    default:
        break;
    }
    return {ValueForm::Real, 0};
}

SideSummary Side::summary() const {
    SideSummary sum;
    sum.devices = devices.size();
    for (const SideDevice &device : devices) {
        sum.recordings += device.recordings;
        sum.reports += device.reports;
    }
    return sum;
}

} // namespace cli
