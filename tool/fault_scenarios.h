// For the fault tests: the commands that they run.

#ifndef FAIRLEAD_TOOL_FAULT_SCENARIOS_H_
#define FAIRLEAD_TOOL_FAULT_SCENARIOS_H_

#include <map>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "tool/testing.h"

namespace fairlead::tool {

using Files = std::map<std::string, std::string>;  // Contents by name.

// A content with this prefix means a symbolic link to the rest.
inline constexpr std::string_view kLinkTo = "-> ";

// An argument that a free port replaces, to which a peer then connects. It
// sends some bytes, and reads what comes.
inline constexpr std::string_view kPortOfAPeer = "PORT";

// What a failed command may leave behind.
enum class Left {
  kOld,        // The old files.
  kNew,        // The new files.
  kOldOrNew,   // Each file old or new.
  kBeginning,  // For files that grow: a prefix of the new content.
  kAppended,   // For logs: text of this run after the old one.
  kMixed,      // Anything in the files that the command writes.
};

struct Scenario {
  const char* name;
  Words arguments;
  Files files = {};  // In the folder before the run.
  std::string input = {};
  Left left = Left::kOld;
  int status = 0;            // Without a fault.
  bool prints_anew = false;  // Each run prints something else.
  std::string peer_sends = {};
};

inline void PrintTo(const Scenario& scenario, std::ostream* out) {
  *out << scenario.name;
}

inline const Files kBox = {
    {"box.ini", "; head\n[a]\nx=1\ny=2\n[b]\n# on z\nz=3\n;off=4\n"}};
inline const Files kDoubled = {
    {"box.ini", "[a]\nx=1\nx = 2\n\n[b]\n;[off]\n;y=1\n"}};
inline const Files kTwo = {{"box.ini", "[a]\nx=1\ny=2\n"},
                           {"other.ini", "[a]\nx=5\n[c]\nk=v\n"}};
inline const Files kLinked = {{"box.ini", "-> real.ini"},
                              {"real.ini", "[a]\nx=1\n"}};
inline const Files kScripted = {
    {"box.ini", "[a]\nx=1\ny=2\n[b]\nz=3\n"},
    {"edits", "set a x 9\ndelete b\ncomment a y 'the y'\nadd n k v\n"}};
inline const Files kProfile = {{"box.ini", "[p]\ntimeout=15\neol=crlf\n"}};
inline const Files kPlain = {{"plain", std::string(100'000, 'p')}};

// More than one buffer holds.
inline const Files kLong = {{"plain", std::string(70'000, 'p')}};

inline Words Ini(const Words& arguments) {
  return Words{"ini", arguments[0], "-file", "box.ini"} +
         Words(arguments.begin() + 1, arguments.end());
}

inline Words Exchange(const Words& arguments) {
  return arguments + Words{"-idle", "1"};
}

inline Words Send(const Words& arguments) {
  return Exchange(Words{"send", "-demo", "-text", "hello"} + arguments);
}

inline Words Log(const Words& arguments) {
  return Words{"log", "-file", "box.log", "-stamp", "none"} + arguments;
}

inline Words Encrypt(const Words& arguments) {
  return Words{"crypt", "encrypt", "-rc4", "secret"} + arguments;
}

inline const Words kSetX = {"set", "-section", "a", "-key", "x", "-value", "9"};
inline const Words kInA = {"-section", "a"};
inline const Words kKeyX = {"-section", "a", "-key", "x"};

inline const std::vector<Scenario> kIniEdits = {
    {"ini_set", Ini(kSetX), kBox},
    {"ini_set_link", Ini(kSetX), kLinked},
    {"ini_set_new_key", Ini(Words{"set", "-key", "k", "-value", "v"} + kInA),
     kBox},
    {"ini_set_new_section",
     Ini({"set", "-section", "n", "-key", "k", "-value", "v"}), kBox},
    {"ini_set_new", Ini(kSetX)},
    {"ini_set_same", Ini({"set", "-section", "a", "-key", "x", "-value", "1"}),
     kBox},
    {"ini_set_inplace", Ini(kSetX + Words{"-inplace"}), kBox},
    {"ini_set_backup", Ini(kSetX + Words{"-backup", "~"}), kBox},
    {"ini_set_index", Ini(kSetX + Words{"-index", "1"}), kDoubled},
    {"ini_set_records", Ini(kSetX + Words{"-records"}), kDoubled},
    {"ini_set_check", Ini(kSetX + Words{"-check"}), kBox, {}, Left::kOld, 1},
    {"ini_set_dryrun", Ini(kSetX + Words{"-dryrun"}), kBox},
    {"ini_set_stdin", Ini({"set", "-stdin"}), kBox, "a\tx\t9\nn\tk\tv\n"},
    {"ini_add_section", Ini({"add", "-section", "n"}), kBox},
    {"ini_add_before",
     Ini(Words{"add", "-key", "k", "-value", "v", "-before", "x"} + kInA),
     kBox},
    {"ini_delete", Ini(Words{"delete"} + kKeyX), kBox},
    {"ini_delete_section", Ini(Words{"delete"} + kInA), kBox},
    {"ini_delete_records", Ini(Words{"delete", "-records"} + kKeyX), kDoubled},
    {"ini_delete_inplace", Ini(Words{"delete", "-inplace"} + kInA), kBox},
    {"ini_delete_check", Ini({"delete", "-check", "-section", "none"}), kBox},
    {"ini_enable", Ini({"enable", "-section", "off"}), kDoubled},
    {"ini_disable", Ini(Words{"disable"} + kKeyX), kBox},
    {"ini_disable_section", Ini(Words{"disable"} + kInA), kBox},
    {"ini_disable_records", Ini(Words{"disable", "-records"} + kInA), kBox},
    {"ini_comment", Ini(Words{"comment", "-text", "on x"} + kKeyX), kBox},
    {"ini_rename", Ini(Words{"rename", "-to", "c"} + kInA), kBox},
    {"ini_rename_key", Ini(Words{"rename", "-to", "xx"} + kKeyX), kBox},
    {"ini_create", Ini({"create"})},
    {"ini_normalize", Ini({"normalize"}), kDoubled},
    {"ini_normalize_inplace", Ini({"normalize", "-inplace"}), kDoubled},
    {"ini_apply", Ini({"apply", "-script", "edits"}), kScripted},
    {"ini_apply_stdin", Ini({"apply", "-stdin"}), kBox, "disable a\n"},
    {"ini_apply_new", Ini({"apply", "-stdin"}), {}, "set n k v\n"},
    {"ini_apply_inplace", Ini({"apply", "-script", "edits", "-inplace"}),
     kScripted},
    {"ini_apply_dryrun", Ini({"apply", "-script", "edits", "-dryrun"}),
     kScripted},
    {"ini_merge", Ini({"merge", "-from", "other.ini"}), kTwo},
    {"ini_merge_records", Ini({"merge", "-from", "other.ini", "-records"}),
     kTwo},
};

inline const std::vector<Scenario> kIniReaders = {
    {"ini_get", Ini({"get", "-section", "b", "-key", "z"}), kBox},
    {"ini_get_default",
     Ini({"get", "-section", "b", "-key", "z", "-default", "NONE"}), kBox},
    {"ini_get_records",
     Ini({"get", "-section", "b", "-key", "off", "-records"}), kBox},
    {"ini_list", Ini({"list"}), kBox},
    {"ini_list_json", Ini({"list", "-format", "json", "-disabled"}), kBox},
    {"ini_sections", Ini({"sections"}), kBox},
    {"ini_keys", Ini(Words{"keys"} + kInA), kBox},
    {"ini_has", Ini({"has", "-section", "b", "-key", "z"}), kBox},
    {"ini_show", Ini({"show"}), kBox},
    {"ini_show_section", Ini(Words{"show"} + kInA), kBox},
    {"ini_diff", Ini({"diff", "-with", "other.ini"}), kTwo, {}, Left::kOld, 1},
    {"ini_diff_same", Ini({"diff", "-with", "box.ini"}), kTwo},
};

inline const std::vector<Scenario> kOthers = {
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
    {"crypt_decrypt",
     {"crypt", "decrypt", "-rc4", "secret", "-file", "plain", "-out", "text"},
     kPlain},
    {"crypt_aes",
     {"crypt", "encrypt", "-aes", "secret", "-file", "plain"},
     kPlain},
};

inline const std::vector<Scenario> kExchanges = {
    {"send_file", Exchange({"send", "-demo", "-file", "plain"}), kLong},
    {"send_stdin", Exchange({"send", "-demo", "-stdin"}), {}, "one\ntwo\n"},
    {"send_log",
     Send({"-log", "box.log", "-quiet"}),
     {{"box.log", "old\n"}},
     {},
     Left::kAppended},
    {"recv_out",
     {"recv", "-demo", "-idle", "1", "-out", "reply", "-append"},
     {{"reply", "old\n"}},
     {},
     Left::kBeginning},
    {"send_prefix", Send({"-prefix", "u32be", "-messages", "1"})},
    {"send_retry", Send({"-retry", "1", "-retrydelay", "0"})},
    {"send_repeat", Send({"-repeat", "2", "-interval", "0"})},
    {"send_changes", Send({"-repeat", "2", "-interval", "0", "-changes"})},
    {"send_script",
     Exchange({"send", "-demo", "-script", "dialogue"}),
     {{"dialogue",
       "send hello\nexpect hello\nwait 1ms\nsend more\nexpect more\n"}}},
    {"send_expect", Send({"-expect", "hello", "-reject", "no"})},
    {"send_out", Send({"-out", "reply"}), {}, {}, Left::kBeginning},
    {"send_logdata",
     Send({"-log", "box.log", "-logdata", "text", "-quiet"}),
     {{"box.log", "old\n"}},
     {},
     Left::kAppended},
    // Unless its server ends.
    {"recv_reconnect", Exchange({"recv", "-demo", "-reconnect", "-retrydelay",
                                 "0", "-lines", "2", "-timeout", "3"})},
    {"send_prefix_file",
     Exchange({"send", "-demo", "-file", "plain", "-prefix", "u32be",
               "-messages", "1"}),
     kLong},
    {.name = "listen",
     .arguments = {"listen", "-port", "0", "-timeout", "300ms", "-log",
                   "box.log"},
     .files = {{"box.log", "old\n"}},
     .left = Left::kAppended,
     .status = 28,
     .prints_anew = true},
    // A connection that breaks has ended, too: then less is printed.
    {.name = "listen_echo",
     .arguments = {"listen", "-port", "PORT", "-echo", "-timeout", "5"},
     .prints_anew = true,
     .peer_sends = "hello"},
    {.name = "listen_replyfile",
     .arguments = {"listen", "-port", "PORT", "-replyfile", "plain", "-timeout",
                   "5"},
     .files = kLong,
     .prints_anew = true,
     .peer_sends = "hello"},
};

inline const std::vector<Scenario> kPrinters = {
    {"sum", {"sum", "-file", "plain"}, kPlain},
    {"sum_stdin", {"sum", "-stdin"}, {}, "bytes"},
    {"size", {"size", "-file", "plain"}, kPlain},
    {"code_make", {"code", "make", "-bits", "30", "-number", "83"}},
    {"code_read", {"code", "read", "-bits", "30", "-text", "TB-AA-A"}},
    {.name = "time_now", .arguments = {"time", "now"}, .prints_anew = true},
    {"time_show", {"time", "show", "-stamp", "20261114x205754"}},
    {"time_shift", {"time", "shift", "-stamp", "20261231x235959", "-by", "1"}},
    {"time_day", {"time", "day", "-text", "1:02:03"}},
    {"time_diff",
     {"time", "diff", "-from", "20261114", "-to", "20261116x010203"}},
    {"help", {"help", "send"}},
    {"help_all", {"help"}},
    {"version", {"version"}},
    {"completion", {"completion", "bash"}},
};

inline std::vector<Scenario> Scenarios() {
  std::vector<Scenario> all = kIniEdits;
  for (const auto* const more :
       {&kIniReaders, &kOthers, &kExchanges, &kPrinters})
    all.insert(all.end(), more->begin(), more->end());
  return all;
}

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_FAULT_SCENARIOS_H_
