#include <memory>
#include <string>

#include "cli/terminal/output.h"
#include "cli/verbs.h"
#include "host/RvNotify.h"
#include "host/count_text.h"
#include "host/error.h"

namespace cli {
namespace {

int notify(const std::string &name) {
    const std::size_t reached = host::post_notification(name);
    if (reached == 0) {
        throw host::Error(name, "", "no running host was reached");
    }
    Output output = standard_output();
    output.write("reached " + host::count_text(reached, "host") + "\n");
    output.flush();
    return kExitOk;
}

} // namespace

Verb declare_notify() {
    const auto name = std::make_shared<std::string>();
    return {.arguments = {{.name = "NAME",
                           .target = name.get(),
                           .help = "Name of the notification",
                           .is_required = true,
                           .kind = ValueKind::Other}},
            .examples = {"qorstat notify com.ondre.ondreqorhidstatistics.fault",
                         "qorstat notify com.example.nobody || echo nobody was reached"},
            .run = [name] { return notify(*name); }};
}

} // namespace cli
