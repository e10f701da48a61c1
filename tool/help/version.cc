// The command `version`.

#include <array>

#include "tool/command/command_table.h"

namespace fairlead::tool::version {
namespace {

constexpr auto kUses = Uses();

ExitStatus Version(const Arguments<kUses>& /*arguments*/,
                   const Output& output) {
  output.Write("fairlead " FAIRLEAD_VERSION "\n");
  return kDone;
}

constexpr auto kExamples = std::to_array<Example>({
    {"fairlead version", "Prints fairlead " FAIRLEAD_VERSION "."},
    {"fairlead -version", "Prints the same."},
});

constexpr auto kStatuses = std::to_array<Status>({
    {kDone, "success"},
    {kWrongUsage, "wrong usage"},
    {kCannotWrite, "standard output cannot be written"},
});

}  // namespace
}  // namespace fairlead::tool::version

namespace fairlead::tool {

constinit const Command kVersionCommand = {
    .name = "version",
    .summary = "print the version",
    .description = "Prints one line to standard output.",
    .action = ActionOf<version::kUses, version::Version>(),
    .examples = version::kExamples,
    .statuses = version::kStatuses,
};

}  // namespace fairlead::tool
