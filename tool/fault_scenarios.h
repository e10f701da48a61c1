// For the fault test: the commands that it runs.

#ifndef FAIRLEAD_TOOL_FAULT_SCENARIOS_H_
#define FAIRLEAD_TOOL_FAULT_SCENARIOS_H_

#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "tool/testing.h"

namespace fairlead::tool {

using Files = std::map<std::string, std::string>;  // Contents by name.

// What a failed command may leave behind.
enum class Left {
  kOld,        // The old files.
  kOldOrNew,   // Each file old or new.
  kBeginning,  // For files that grow: a prefix of the new content.
};

struct Scenario {
  const char* name;
  Words arguments;
  Files files = {};  // In the folder before the run.
  std::string input = {};
  Left left = Left::kOld;
};

inline void PrintTo(const Scenario& scenario, std::ostream* out) {
  *out << scenario.name;
}

inline const Files kBox = {
    {"box.ini", "; head\n[a]\nx=1\ny=2\n[b]\n# on z\nz=3\n;off=4\n"}};
inline const Files kProfile = {{"box.ini", "[p]\ntimeout=15\neol=crlf\n"}};
inline const Files kPlain = {{"plain", std::string(100'000, 'p')}};

inline Words Ini(const Words& arguments) {
  return Words{"ini", arguments[0], "-file", "box.ini"} +
         Words(arguments.begin() + 1, arguments.end());
}

inline Words Send(const Words& arguments) {
  return Words{"send", "-demo", "-text", "hello", "-idle", "1"} + arguments;
}

inline Words Log(const Words& arguments) {
  return Words{"log", "-file", "box.log", "-stamp", "none"} + arguments;
}

inline Words Encrypt(const Words& arguments) {
  return Words{"crypt", "encrypt", "-rc4", "secret"} + arguments;
}

inline const std::vector<Scenario> kScenarios = {
    {"ini_set", Ini({"set", "-section", "a", "-key", "x", "-value", "9"}),
     kBox},
    {"ini_set_new", Ini({"set", "-section", "n", "-key", "k", "-value", "v"})},
    {"ini_set_inplace",
     Ini({"set", "-section", "a", "-key", "x", "-value", "9", "-inplace"}),
     kBox},
    {"ini_set_stdin", Ini({"set", "-stdin"}), kBox, "a\tx\t9\nn\tk\tv\n"},
    {"ini_delete", Ini({"delete", "-section", "a", "-key", "x"}), kBox},
    {"ini_rename_key",
     Ini({"rename", "-section", "a", "-key", "x", "-to", "xx"}), kBox},
    {"ini_get", Ini({"get", "-section", "b", "-key", "z"}), kBox},
    {"ini_get_default",
     Ini({"get", "-section", "b", "-key", "z", "-default", "NONE"}), kBox},
    {"ini_list", Ini({"list"}), kBox},
    {"ini_has", Ini({"has", "-section", "b", "-key", "z"}), kBox},
    {"send", Send({})},
    // The profile is saved before the exchange, which may fail later.
    {"send_saveprofile",
     Send({"-settings", "box.ini", "-profile", "p", "-saveprofile", "-eol",
           "lf"}),
     kProfile,
     {},
     Left::kOldOrNew},
    {"send_settings", Send({"-settings", "box.ini", "-profile", "p"}),
     kProfile},
    {"recv", {"recv", "-demo", "-idle", "1"}},
    {"resolve", {"resolve", "-host", "127.0.0.1"}},
    {"log",
     Log({}),
     {{"box.log", "old\n"}},
     "one\ntwo\nthree",
     Left::kBeginning},
    {"log_once",
     Log({"-once", "3600", "-crlf"}),
     {},
     "one\none\ntwo\none\n",
     Left::kBeginning},
    {"crypt_out", Encrypt({"-file", "plain", "-out", "coded"}), kPlain},
    {"crypt_itself", Encrypt({"-file", "plain", "-out", "plain"}), kPlain},
    {"crypt", Encrypt({"-stdin"}), {}, "plain bytes"},
    {"sum", {"sum", "-file", "plain"}, kPlain},
    {"help", {"help", "send"}},
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_FAULT_SCENARIOS_H_
