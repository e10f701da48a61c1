// The command `resolve`: the addresses of a name.

#include "fairlead/net/resolve.h"

#include <array>
#include <string>
#include <vector>

#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/command/arguments.h"
#include "tool/command/command_list.h"
#include "tool/command/parameters.h"
#include "tool/exchange/time_limit.h"
#include "tool/io/output.h"

namespace fairlead::tool {
namespace {

ExitStatus Resolve(const Arguments& arguments, const Output& output) {
  if (!arguments.Has(kHost))
    throw Failure(kWrongUsage, Concat(Spelling(kHost), " is missing"));
  silent = arguments.Has(kQuiet);
  const std::string host = arguments.Text(kHost);
  TimeLimit limit("resolve", arguments.Number(kTimeout));
  limit.Enter(Concat("resolving ", Quoted(host)));

  const std::vector<std::string> addresses = resolveDnsFull(host);
  if (addresses.empty())
    throw Failure(kNotResolved,
                  Concat("no IPv4 address is known for ", Quoted(host)));
  std::string lines;
  for (const std::string& address : addresses) lines += Concat(address, "\n");
  output.Write(lines);
  return kDone;
}

constexpr std::array kParameters = {kHost, kTimeout, kQuiet, kHelp};

constexpr auto kExamples = std::to_array<Example>({
    {"fairlead resolve -host localhost", "Prints 127.0.0.1."},
    {"fairlead resolve -host example.org -quiet -timeout 5",
     "Prints the addresses, and nothing else, within five seconds."},
});

constexpr std::array kStatuses = {
    kDone,        kWrongUsage, kNotResolved,
    kCannotWrite, kTimeIsOver, kSilentlyNotResolved,
};

}  // namespace

constinit const Command kResolveCommand = {
    .name = "resolve",
    .usage = "-host NAME [-name value]...",
    .summary = "print the IPv4 addresses of a name",
    .story =
        "Prints one address a line, in the order in which the system's "
        "resolver gives them.",
    .operand = nullptr,
    .parameters = kParameters,
    .examples = kExamples,
    .statuses = kStatuses,
    .run = Resolve,
};

}  // namespace fairlead::tool
