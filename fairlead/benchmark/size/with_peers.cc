// Prints one value of an INI file, with getopt_long and inih: --file F
// --section S --key K.

#include <getopt.h>
#include <ini.h>

#include <cstdio>
#include <map>
#include <string>

namespace {

using Arguments = std::map<std::string, std::string>;

struct Wanted {
  std::string section;
  std::string key;
  std::string value;
  bool found = false;
};

int Visit(void* user, const char* section, const char* key, const char* value) {
  auto& wanted = *static_cast<Wanted*>(user);
  if (!wanted.found && wanted.section == section && wanted.key == key) {
    wanted.value = value;
    wanted.found = true;
  }
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  const option options[] = {{"file", required_argument, nullptr, 'f'},
                            {"section", required_argument, nullptr, 's'},
                            {"key", required_argument, nullptr, 'k'},
                            {nullptr, 0, nullptr, 0}};
  Arguments args;
  int index = 0;
  while (getopt_long(argc, argv, "", options, &index) != -1)
    args[options[index].name] = optarg == nullptr ? "" : optarg;

  Wanted wanted{args["section"], args["key"], {}};
  ini_parse(args["file"].c_str(), Visit, &wanted);
  if (wanted.found) std::puts(wanted.value.c_str());
  return wanted.found ? 0 : 1;
}
