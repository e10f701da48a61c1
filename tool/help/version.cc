// The command `version`.

#include <array>

#include "tool/command/command_list.h"
#include "tool/command/parameters.h"
#include "tool/io/output.h"

namespace fairlead::tool {
namespace {

ExitStatus Version(const Arguments& /*arguments*/, const Output& output) {
  output.Write("fairlead " FAIRLEAD_VERSION "\n");
  return kDone;
}

constexpr std::array kParameters = {kHelp};

constexpr auto kExamples = std::to_array<Example>({
    {"fairlead version", "Prints fairlead " FAIRLEAD_VERSION "."},
    {"fairlead -version", "The same."},
});

constexpr std::array kStatuses = {kDone, kWrongUsage, kCannotWrite};

}  // namespace

constinit const Command kVersionCommand = {
    .name = "version",
    .usage = "",
    .summary = "print the version",
    .story = "Prints one line to standard output.",
    .operand = nullptr,
    .parameters = kParameters,
    .examples = kExamples,
    .statuses = kStatuses,
    .run = Version,
};

}  // namespace fairlead::tool
