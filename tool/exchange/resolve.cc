// The command `resolve`: the addresses of a name.

#include <array>
#include <string>

#include "fairlead/net/host_lookup.h"
#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/command/command_table.h"
#include "tool/exchange/outcome.h"
#include "tool/traffic/parameters.h"
#include "tool/traffic/time_limit.h"

namespace fairlead::tool::resolve {
namespace {

constexpr Parameter kTimeout = {.name = "timeout",
                                .placeholder = "TIME",
                                .kind = Kind::kDuration,
                                .group = Group::kHowLong,
                                .help = "give up after TIME",
                                .range = kTimeRange,
                                .unlimited = kNoLimit,
                                .fallback = "30"};

constexpr auto kUses = Uses(kHost, Optional(kTimeout), Optional(kQuiet));

ExitStatus Resolve(const Arguments<kUses>& arguments, const Output& output) {
  const std::string host = arguments.Text(kHost);
  TimeLimit limit("resolve", arguments.Duration(kTimeout));
  limit.Enter(Concat("resolving ", Quoted(host)));

  const HostLookup found = LookUpHost(host);
  if (found.addresses.empty())
    throw Failure(kNotResolved,
                  NotResolved(host, found.error, found.system_error));
  std::string lines;
  for (const std::string& address : found.addresses)
    lines += Concat(address, "\n");
  output.Write(lines);
  return kDone;
}

constexpr auto kExamples = std::to_array<Example>({
    {"fairlead resolve -host localhost", "Prints 127.0.0.1."},
    {"fairlead resolve -host example.org -timeout 5",
     "Prints its addresses, within five seconds."},
});

constexpr auto kStatuses = std::to_array<Status>({
    {kDone, "success"},
    {kWrongUsage, "wrong usage"},
    {kNotResolved, "the host name was not resolved"},
    {kNotConnected, "the thread for the time limit could not be started"},
    {kCannotWrite, "standard output cannot be written"},
    {kTimeIsOver, "the time limit of -timeout was reached"},
    {kInterrupted, "interrupted by Ctrl-C (SIGINT)"},
});

}  // namespace
}  // namespace fairlead::tool::resolve

namespace fairlead::tool {

constinit const Command kResolveCommand = {
    .name = "resolve",
    .summary = "print the IPv4 addresses of a name",
    .description =
        "Prints one address per line, in the order of the system's resolver.",
    .action = ActionOf<resolve::kUses, resolve::Resolve>(),
    .examples = resolve::kExamples,
    .statuses = resolve::kStatuses,
};

}  // namespace fairlead::tool
