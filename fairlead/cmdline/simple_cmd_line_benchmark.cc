// The parser beside other libraries at a program's start: 20 arguments, 10
// lookups. Every round sets up the parser, parses and looks up, as main() does;
// LookUpTen only looks up.

#include <benchmark/benchmark.h>
#include <getopt.h>

#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "fairlead/cmdline/simple_cmd_line.h"
#include "fairlead/text/strings.h"

#ifdef FAIRLEAD_PEER_CLI11
#include <CLI/CLI.hpp>
#endif
#ifdef FAIRLEAD_PEER_CXXOPTS
#include <cxxopts.hpp>
#endif
#ifdef FAIRLEAD_PEER_TCLAP
#include <tclap/CmdLine.h>
#endif
#ifdef FAIRLEAD_PEER_BOOST_PROGRAM_OPTIONS
#include <boost/program_options.hpp>
#endif

namespace {

// What the program looks up. log and quiet are not given.
struct Settings {
  std::string host, text, profile, log, until;
  int port, timeout, idle;
  bool verbose, quiet;

  bool operator==(const Settings&) const = default;
};

const Settings& Expected() {
  static const Settings expected = {"server.example.org",
                                    "hello",
                                    "test",
                                    "none",
                                    "a rather long last line",
                                    7000,
                                    20,
                                    5,
                                    true,
                                    false};
  return expected;
}

// The arguments of a process: each parameter with `dashes` before its name.
class Arguments {
 public:
  explicit Arguments(const std::string& dashes) {
    texts_ = {"/usr/bin/tool"};
    for (const auto& [name, value] : {std::pair{"host", "server.example.org"},
                                      {"port", "7000"},
                                      {"text", "hello"},
                                      {"profile", "test"},
                                      {"timeout", "20"},
                                      {"until", "a rather long last line"},
                                      {"view", "hex"},
                                      {"eol", "crlf"}}) {
      texts_.push_back(dashes + name);
      texts_.emplace_back(value);
    }
    for (const char* const name : {"verbose", "crlf", "dryrun", "demo"})
      texts_.push_back(dashes + name);
    for (std::string& text : texts_) pointers_.push_back(text.data());
    pointers_.push_back(nullptr);
  }

  int argc() const { return static_cast<int>(texts_.size()); }
  char** argv() { return pointers_.data(); }

 private:
  std::vector<std::string> texts_;
  std::vector<char*> pointers_;
};

void StartUp(benchmark::State& state, const char* dashes,
             Settings (*parse)(int argc, char** argv)) {
  Arguments arguments(dashes);
  if (parse(arguments.argc(), arguments.argv()) != Expected()) {
    state.SkipWithError("wrong result");
    return;
  }
  for ([[maybe_unused]] auto _ : state)
    benchmark::DoNotOptimize(parse(arguments.argc(), arguments.argv()));
}

// The lookups alone.
template <typename Table>
void LookUp(benchmark::State& state, const Table& table,
            Settings (*look_up)(const Table& table)) {
  if (look_up(table) != Expected()) {
    state.SkipWithError("wrong result");
    return;
  }
  for ([[maybe_unused]] auto _ : state)
    benchmark::DoNotOptimize(look_up(table));
}

Settings LookUpFairlead(const fairlead::CSimpleCmdLine& args) {
  return {.host = args.GetStrParam("host", "localhost"),
          .text = args.GetStrParam("text", ""),
          .profile = args.GetStrParam("profile", ""),
          .log = args.GetStrParam("log", "none"),
          .until = args.GetStrParam("until", ""),
          .port = args.GetIntParam("port", 1),
          .timeout = args.GetIntParam("timeout", 30),
          .idle = args.GetIntParam("idle", 5),
          .verbose = args.PresentParam("verbose"),
          .quiet = args.PresentParam("quiet")};
}

Settings ParseFairlead(int argc, char** argv) {
  return LookUpFairlead(fairlead::CSimpleCmdLine(argc, argv));
}
BENCHMARK_CAPTURE(StartUp, fairlead, "-", ParseFairlead);

void LookUpTen(benchmark::State& state) {
  Arguments arguments("-");
  const fairlead::CSimpleCmdLine args(arguments.argc(), arguments.argv());
  LookUp(state, args, LookUpFairlead);
}
BENCHMARK(LookUpTen)->Name("LookUpTen/fairlead");

constexpr option kOptions[] = {{"host", required_argument, nullptr, 0},
                               {"port", required_argument, nullptr, 0},
                               {"text", required_argument, nullptr, 0},
                               {"profile", required_argument, nullptr, 0},
                               {"timeout", required_argument, nullptr, 0},
                               {"idle", required_argument, nullptr, 0},
                               {"until", required_argument, nullptr, 0},
                               {"view", required_argument, nullptr, 0},
                               {"eol", required_argument, nullptr, 0},
                               {"log", required_argument, nullptr, 0},
                               {"verbose", no_argument, nullptr, 0},
                               {"quiet", no_argument, nullptr, 0},
                               {"crlf", no_argument, nullptr, 0},
                               {"dryrun", no_argument, nullptr, 0},
                               {"demo", no_argument, nullptr, 0},
                               {nullptr, 0, nullptr, 0}};

Settings Defaults() {
  return {.host = "localhost",
          .text = "",
          .profile = "",
          .log = "none",
          .until = "",
          .port = 1,
          .timeout = 30,
          .idle = 5,
          .verbose = false,
          .quiet = false};
}

int Number(const char* text) {
  return static_cast<int>(std::strtol(text, nullptr, 10));
}

// Fills the settings at once, as a program that knows all of its options can.
Settings ParseGetoptLong(int argc, char** argv) {
  Settings settings = Defaults();
  std::string view;
  std::string eol;
  std::string* const texts[] = {&settings.host,    nullptr, &settings.text,
                                &settings.profile, nullptr, nullptr,
                                &settings.until,   &view,   &eol,
                                &settings.log};
  bool ignored = false;
  optind = 0;  // Resets getopt.
  int index = 0;
  while (getopt_long(argc, argv, "", kOptions, &index) == 0) {
    switch (index) {
      case 1:
        settings.port = Number(optarg);
        break;
      case 4:
        settings.timeout = Number(optarg);
        break;
      case 5:
        settings.idle = Number(optarg);
        break;
      case 10:
        settings.verbose = true;
        break;
      case 11:
        settings.quiet = true;
        break;
      case 12:
      case 13:
      case 14:
        ignored = true;
        break;
      default:
        *texts[index] = optarg;
    }
  }
  benchmark::DoNotOptimize(ignored);
  return settings;
}
BENCHMARK_CAPTURE(StartUp, getopt_long, "--", ParseGetoptLong);

// Keeps what was given, for lookups by name.
Settings ParseGetoptLongIntoMap(int argc, char** argv) {
  std::map<std::string, std::string> table;
  optind = 0;  // Resets getopt.
  int index = 0;
  while (getopt_long(argc, argv, "", kOptions, &index) == 0)
    table[kOptions[index].name] = optarg != nullptr ? optarg : "";

  const auto text = [&table](const char* name, const char* fallback) {
    const auto found = table.find(name);
    return found != table.end() ? found->second : std::string(fallback);
  };
  const auto number = [&table](const char* name, int fallback) {
    const auto found = table.find(name);
    return found == table.end() ? fallback : Number(found->second.c_str());
  };
  return {.host = text("host", "localhost"),
          .text = text("text", ""),
          .profile = text("profile", ""),
          .log = text("log", "none"),
          .until = text("until", ""),
          .port = number("port", 1),
          .timeout = number("timeout", 30),
          .idle = number("idle", 5),
          .verbose = table.contains("verbose"),
          .quiet = table.contains("quiet")};
}
BENCHMARK_CAPTURE(StartUp, getopt_long_map, "--", ParseGetoptLongIntoMap);

#ifdef FAIRLEAD_PEER_CLI11
Settings ParseCli11(int argc, char** argv) {
  Settings settings = Defaults();
  std::string view;
  std::string eol;
  bool crlf = false;
  bool dryrun = false;
  bool demo = false;
  CLI::App app("tool");
  app.add_option("--host", settings.host);
  app.add_option("--port", settings.port);
  app.add_option("--text", settings.text);
  app.add_option("--profile", settings.profile);
  app.add_option("--timeout", settings.timeout);
  app.add_option("--idle", settings.idle);
  app.add_option("--until", settings.until);
  app.add_option("--view", view);
  app.add_option("--eol", eol);
  app.add_option("--log", settings.log);
  app.add_flag("--verbose", settings.verbose);
  app.add_flag("--quiet", settings.quiet);
  app.add_flag("--crlf", crlf);
  app.add_flag("--dryrun", dryrun);
  app.add_flag("--demo", demo);
  app.parse(argc, argv);
  return settings;
}
BENCHMARK_CAPTURE(StartUp, cli11, "--", ParseCli11);
#endif

#ifdef FAIRLEAD_PEER_CXXOPTS
Settings ParseCxxopts(int argc, char** argv) {
  cxxopts::Options options("tool");
  const auto text = [](const char* fallback) {
    return cxxopts::value<std::string>()->default_value(fallback);
  };
  const auto number = [](const char* fallback) {
    return cxxopts::value<int>()->default_value(fallback);
  };
  options.add_options()("host", "", text("localhost"))("port", "", number("1"))(
      "text", "", text(""))("profile", "", text(""))(
      "timeout", "", number("30"))("idle", "", number("5"))(
      "until", "", text(""))("view", "", text(""))("eol", "", text(""))(
      "log", "", text("none"))("verbose", "")("quiet", "")("crlf", "")(
      "dryrun", "")("demo", "");
  const cxxopts::ParseResult table = options.parse(argc, argv);
  return {.host = table["host"].as<std::string>(),
          .text = table["text"].as<std::string>(),
          .profile = table["profile"].as<std::string>(),
          .log = table["log"].as<std::string>(),
          .until = table["until"].as<std::string>(),
          .port = table["port"].as<int>(),
          .timeout = table["timeout"].as<int>(),
          .idle = table["idle"].as<int>(),
          .verbose = table.count("verbose") != 0,
          .quiet = table.count("quiet") != 0};
}
BENCHMARK_CAPTURE(StartUp, cxxopts, "--", ParseCxxopts);
#endif

#ifdef FAIRLEAD_PEER_TCLAP
Settings ParseTclap(int argc, char** argv) {
  using Text = TCLAP::ValueArg<std::string>;
  using Number = TCLAP::ValueArg<int>;
  using Switch = TCLAP::SwitchArg;
  TCLAP::CmdLine line("", ' ', "1", false);
  Text host("", "host", "", false, "localhost", "", line);
  Number port("", "port", "", false, 1, "", line);
  Text text("", "text", "", false, "", "", line);
  Text profile("", "profile", "", false, "", "", line);
  Number timeout("", "timeout", "", false, 30, "", line);
  Number idle("", "idle", "", false, 5, "", line);
  Text until("", "until", "", false, "", "", line);
  Text view("", "view", "", false, "", "", line);
  Text eol("", "eol", "", false, "", "", line);
  Text log("", "log", "", false, "none", "", line);
  Switch verbose("", "verbose", "", line);
  Switch quiet("", "quiet", "", line);
  Switch crlf("", "crlf", "", line);
  Switch dryrun("", "dryrun", "", line);
  Switch demo("", "demo", "", line);
  line.parse(argc, argv);
  return {.host = host.getValue(),
          .text = text.getValue(),
          .profile = profile.getValue(),
          .log = log.getValue(),
          .until = until.getValue(),
          .port = port.getValue(),
          .timeout = timeout.getValue(),
          .idle = idle.getValue(),
          .verbose = verbose.getValue(),
          .quiet = quiet.getValue()};
}
BENCHMARK_CAPTURE(StartUp, tclap, "--", ParseTclap);
#endif

#ifdef FAIRLEAD_PEER_BOOST_PROGRAM_OPTIONS
using BoostTable = boost::program_options::variables_map;

BoostTable BoostTableOf(int argc, char** argv) {
  namespace po = boost::program_options;
  const auto text = [](const char* fallback) {
    return po::value<std::string>()->default_value(fallback);
  };
  const auto number = [](int fallback) {
    return po::value<int>()->default_value(fallback);
  };
  po::options_description options;
  options.add_options()("host", text("localhost"))("port", number(1))(
      "text", text(""))("profile", text(""))("timeout", number(30))(
      "idle", number(5))("until", text(""))("view", text(""))("eol", text(""))(
      "log", text("none"))("verbose", "")("quiet", "")("crlf", "")(
      "dryrun", "")("demo", "");
  BoostTable table;
  po::store(po::parse_command_line(argc, argv, options), table);
  return table;
}

Settings LookUpBoost(const BoostTable& table) {
  return {.host = table["host"].as<std::string>(),
          .text = table["text"].as<std::string>(),
          .profile = table["profile"].as<std::string>(),
          .log = table["log"].as<std::string>(),
          .until = table["until"].as<std::string>(),
          .port = table["port"].as<int>(),
          .timeout = table["timeout"].as<int>(),
          .idle = table["idle"].as<int>(),
          .verbose = table.count("verbose") != 0,
          .quiet = table.count("quiet") != 0};
}

Settings ParseBoost(int argc, char** argv) {
  return LookUpBoost(BoostTableOf(argc, argv));
}
BENCHMARK_CAPTURE(StartUp, boost_program_options, "--", ParseBoost);

void LookUpTenBoost(benchmark::State& state) {
  Arguments arguments("--");
  LookUp(state, BoostTableOf(arguments.argc(), arguments.argv()), LookUpBoost);
}
BENCHMARK(LookUpTenBoost)->Name("LookUpTen/boost_program_options");
#endif

}  // namespace
