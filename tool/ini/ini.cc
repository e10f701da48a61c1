// The command `ini`: what stands in an INI file, and careful edits of it.

#include "tool/ini/ini.h"

#include <array>

#include "tool/base/failure.h"
#include "tool/command/command_list.h"
#include "tool/command/parameters.h"
#include "tool/command/usage.h"

namespace fairlead::tool {
namespace {

using namespace ini;

constexpr auto kVerbs = std::to_array<Verb>({
    {"get", "-section S -key K [-default TEXT] [-format F]",
     "print the key's value", Get},
    {"set", "[-section S -key K -value V] [-stdin] [-dryrun] [-inplace]",
     "give the key the value; file, section and key are made if need be, a new "
     "key at the top of its section",
     Set},
    {"add", "-section S [-key K -value V] [-dryrun] [-inplace]",
     "make the section, or the key, which may not be there yet", Add},
    {"delete", "-section S [-key K] [-dryrun] [-inplace]",
     "remove the section, or the key, with the comments above", Delete},
    {"enable", "-section S [-key K] [-dryrun] [-inplace]",
     "take the comment character from the section's lines, or from the key's",
     Enable},
    {"disable", "-section S [-key K] [-char C] [-dryrun] [-inplace]",
     "put a comment character before the section's lines, or the key's",
     Disable},
    {"comment", "-section S [-key K] -text COMMENT [-dryrun] [-inplace]",
     "put comment lines above the section's header, or above the key", Comment},
    {"rename", "-section S [-key K] -to NEW [-dryrun] [-inplace]",
     "give the section, or the key, a name that is not there yet", Rename},
    {"list", "[-section S] [-format F]",
     "print section, key and value of every key; json tells more", List},
    {"sections", "[-format F]", "print the names of the sections", Sections},
    {"keys", "-section S [-format F]", "print the names of the section's keys",
     Keys},
    {"has", "-section S [-key K]",
     "answer by the exit status whether the section, or the key, is there",
     Has},
    {"show", "[-section S] [-key K] [-format F]",
     "print the lines, of a section or a key, as an edit would write them; as "
     "text or json",
     Show},
    {"create", "[-dryrun]", "make an empty file, which may not be there yet",
     Create},
});

constexpr Parameter kVerb = WordOf(kVerbs);

constexpr std::array kParameters = {
    ini::kFile, kSection, kKey,    kValue,  ini::kStdin, kTo,   ini::kText,
    kChar,      kDefault, kFormat, kDryrun, kInplace,    kHelp,
};

ExitStatus Ini(const Arguments& arguments, const Output& output) {
  if (arguments.Has(kVerb) && !arguments.Has(ini::kFile))
    throw Failure(kWrongUsage, "-file FILE is missing");
  return RunVerb(arguments, output, "-file FILE ");
}

constexpr auto kExamples = std::to_array<Example>({
    {"fairlead ini set -file box.ini -section server -key port -value 7000",
     "Writes port=7000 under [server]; makes what is not there."},
    {"fairlead ini get -file box.ini -section server -key port",
     "Prints 7000."},
    {"fairlead ini disable -file box.ini -section server -key port -dryrun",
     "Shows what the edit would change, and writes nothing."},
    {"fairlead ini list -file box.ini -format json",
     "Prints every key, its value, its comments and whether it is disabled."},
});

constexpr std::array kStatuses = {
    kDone, kAnswerIsNo, kWrongUsage, kMalformedInput, kCannotWrite, kCannotRead,
};

}  // namespace

constinit const Command kIniCommand = {
    .name = "ini",
    .usage = "WORD -file FILE [-name value]...",
    .summary = "read and edit INI files",
    .story =
        "An edit is written to a new file, which then takes the place of the "
        "old one with its mode and owner; a symbolic link stays, its target is "
        "edited. Killed at any moment, the file is the old one or the new one "
        "(a file .fairlead.PID.N may stay beside it), and of two edits at once "
        "none is lost. An edit normalises the file: blank lines, blanks around "
        "'=' and the CR of CR LF go, comments stand right above their key. A "
        "file of which it would lose more is reported with its line and left "
        "alone. Disabled keys and sections count as being there, and stay "
        "disabled when they are set; a comment that holds '=' is a disabled "
        "key, and enabling its section enables it. Names are compared letter "
        "by letter; of two keys with one name, the first is meant, of sections "
        "all.",
    .operand = &kVerb,
    .parameters = kParameters,
    .examples = kExamples,
    .statuses = kStatuses,
    .run = Ini,
};

}  // namespace fairlead::tool
