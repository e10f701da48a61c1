// The command `ini`: its subcommands, and what its help says of all of them.

#include "tool/ini/ini.h"

#include <array>

#include "tool/command/command_table.h"
#include "tool/ini/ini_statuses.h"

namespace fairlead::tool {
namespace ini {
namespace {

constexpr std::array kSubcommands = {
    &kGet,     &kSet,    &kAdd,   &kDelete,   &kEnable, &kDisable,
    &kComment, &kRename, &kList,  &kSections, &kKeys,   &kHas,
    &kShow,    &kCreate, &kApply, &kDiff,     &kMerge,  &kNormalize,
};

constexpr auto kExamples = std::to_array<Example>({
    {"fairlead ini set -file box.ini -section server -key port -value 7000",
     "Writes port=7000 under [server]; creates what does not exist."},
    {"fairlead ini get -file box.ini -section server -key port",
     "Prints 7000."},
    {"fairlead ini disable -file box.ini -section server -key port -dryrun",
     "Shows what the edit would change, and writes nothing."},
    {"fairlead ini list -file box.ini -format json",
     "Prints every key with its value, its comments and its line."},
});

constexpr auto kStatuses = std::to_array<Status>(
    {kSuccess,
     {kAnswerIsNo, "not found, disabled, different, or already exists"},
     kUsage,
     {kMalformedInput, "the file, a script or standard input is malformed"},
     {kCannotWrite, "the file or standard output cannot be written"},
     {kCannotRead, "the file or standard input cannot be read"},
     kLocked});

}  // namespace
}  // namespace ini

constinit const Command kIniCommand = {
    .name = "ini",
    .summary = "read and edit INI files",
    .description =
        "An edit keeps every byte of the file that it is not about: comments, "
        "blank lines, order, spaces around '=', line ends, a byte order mark, "
        "and lines that are neither comment, header nor key. It writes a new "
        "file and replaces the old one with it. Owner, mode, access control "
        "list and extended attributes are kept; a symbolic link is kept and "
        "its target edited. If the edit fails or is killed, the file is the "
        "old one or the new one. A killed edit may leave a file "
        ".fairlead.PID.N beside it, which the next edit that writes in the "
        "folder deletes, if it is of the same user. An edit waits up to ten "
        "seconds for another one of the same file; none is lost. A file with "
        "several hard links can be edited with -inplace only.\n"
        "A line such as #key=value or ;key = value is a disabled key. Disabled "
        "keys and sections have no effect and are not found, except with "
        "-disabled. Other comments are only comments. Names are "
        "case-sensitive. If a key occurs several times, the last one counts. "
        "Sections of the same name are one section. With -records, a file is "
        "read as the library's CIniFile reads it.\n"
        "A header without ']' is reported as a warning with its line. The keys "
        "below it belong to no section and are not found; the other lines can "
        "be read and edited. With -records, and by 'normalize', such a file is "
        "refused.",
    .examples = ini::kExamples,
    .statuses = ini::kStatuses,
    .subcommands = ini::kSubcommands,
};

}  // namespace fairlead::tool
