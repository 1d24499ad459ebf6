#include <memory>
#include <string>

#include "cli/arguments/help_page.h"
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

Verb add_notify_verb(CLI::App &program) {
    CLI::App *const arguments =
        program.add_subcommand("notify", "Post a notification to all your running hosts")->group("Verbs");
    const auto name = std::make_shared<std::string>();
    arguments->add_option("NAME", *name, "Name of the notification")->required();
    arguments->footer(examples("qorstat notify com.ondre.ondreqorhidstatistics.fault",
                               "qorstat notify com.example.nobody || echo nobody was reached"));
    return {arguments, [name] { return notify(*name); }};
}

} // namespace cli
