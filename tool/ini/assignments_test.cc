// Tests which keys can be assignments of a shell.

#include "tool/ini/assignments.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "tool/base/failure.h"
#include "tool/testing.h"

namespace fairlead::tool::assignments_test {
namespace {

bool IsRefused(const std::string& key) {
  try {
    CheckAssignment("", key, "v");
    return false;
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.status(), kMalformedInput);
    return true;
  }
}

// bash(1), "Shell Variables", which has those of sh too.
constexpr const char* kShellVariables[] = {"_",
                                           "BASH",
                                           "BASHOPTS",
                                           "BASHPID",
                                           "BASH_ALIASES",
                                           "BASH_ARGC",
                                           "BASH_ARGV",
                                           "BASH_ARGV0",
                                           "BASH_CMDS",
                                           "BASH_COMMAND",
                                           "BASH_COMPAT",
                                           "BASH_ENV",
                                           "BASH_EXECUTION_STRING",
                                           "BASH_LINENO",
                                           "BASH_LOADABLES_PATH",
                                           "BASH_REMATCH",
                                           "BASH_SOURCE",
                                           "BASH_SUBSHELL",
                                           "BASH_VERSINFO",
                                           "BASH_VERSION",
                                           "BASH_XTRACEFD",
                                           "CDPATH",
                                           "CHILD_MAX",
                                           "COLUMNS",
                                           "COMP_CWORD",
                                           "COMP_KEY",
                                           "COMP_LINE",
                                           "COMP_POINT",
                                           "COMP_TYPE",
                                           "COMP_WORDBREAKS",
                                           "COMP_WORDS",
                                           "COMPREPLY",
                                           "COPROC",
                                           "COPROC_PID",
                                           "DIRSTACK",
                                           "EMACS",
                                           "ENV",
                                           "EPOCHREALTIME",
                                           "EPOCHSECONDS",
                                           "EUID",
                                           "EXECIGNORE",
                                           "FCEDIT",
                                           "FIGNORE",
                                           "FUNCNAME",
                                           "FUNCNEST",
                                           "GLOBIGNORE",
                                           "GLOBSORT",
                                           "GROUPS",
                                           "HISTCMD",
                                           "HISTCONTROL",
                                           "HISTFILE",
                                           "HISTFILESIZE",
                                           "HISTIGNORE",
                                           "HISTSIZE",
                                           "HISTTIMEFORMAT",
                                           "HOME",
                                           "HOSTFILE",
                                           "HOSTNAME",
                                           "HOSTTYPE",
                                           "IFS",
                                           "IGNOREEOF",
                                           "INPUTRC",
                                           "INSIDE_EMACS",
                                           "LANG",
                                           "LC_ALL",
                                           "LC_COLLATE",
                                           "LC_CTYPE",
                                           "LC_MESSAGES",
                                           "LC_NUMERIC",
                                           "LC_TIME",
                                           "LINENO",
                                           "LINES",
                                           "MACHTYPE",
                                           "MAIL",
                                           "MAILCHECK",
                                           "MAILPATH",
                                           "MAPFILE",
                                           "OLDPWD",
                                           "OPTARG",
                                           "OPTERR",
                                           "OPTIND",
                                           "OSTYPE",
                                           "PATH",
                                           "PIPESTATUS",
                                           "POSIXLY_CORRECT",
                                           "PPID",
                                           "PROMPT_COMMAND",
                                           "PROMPT_DIRTRIM",
                                           "PS0",
                                           "PS1",
                                           "PS2",
                                           "PS3",
                                           "PS4",
                                           "PWD",
                                           "RANDOM",
                                           "READLINE_ARGUMENT",
                                           "READLINE_LINE",
                                           "READLINE_MARK",
                                           "READLINE_POINT",
                                           "REPLY",
                                           "SECONDS",
                                           "SHELL",
                                           "SHELLOPTS",
                                           "SHLVL",
                                           "SRANDOM",
                                           "TERM",
                                           "TIMEFORMAT",
                                           "TMOUT",
                                           "TMPDIR",
                                           "UID",
                                           "auto_resume",
                                           "histchars"};

TEST(AssignmentsTest, NoVariableOfTheShellCanBeSet) {
  for (const char* const name : kShellVariables)
    EXPECT_TRUE(IsRefused(name)) << name;
  for (const char* const name :
       {"LD_PRELOAD", "PERL5OPT", "PYTHONPATH", "GIT_DIR", "LANGUAGE", "EDITOR",
        "VISUAL", "TEXTDOMAIN", "GCONV-PATH", "-"})
    EXPECT_TRUE(IsRefused(name)) << name;
}

// They run what the variable names, load it or connect to it.
TEST(AssignmentsTest, NoVariableThatUsualProgramsObeyCanBeSet) {
  for (const char* const name :
       {"LESSOPEN",          "LESSCLOSE",     "PAGER",        "MANPAGER",
        "GIT_SSH_COMMAND",   "GIT_PAGER",     "NODE_OPTIONS", "RUBYOPT",
        "PYTHONHOME",        "PYTHONSTARTUP", "PERL5DB",      "GLIBC_TUNABLES",
        "JAVA_TOOL_OPTIONS", "LUA_INIT",      "SSH_ASKPASS",  "APT_CONFIG",
        "AWKPATH",           "AWKLIBPATH",    "DOCKER_HOST",  "SSH_SK_PROVIDER",
        "SUDO_EDITOR",       "SYSTEMD_PAGER", "OPENSSL_CONF", "XDG_CONFIG_HOME",
        "MAKEFLAGS",         "BROWSER",       "http_proxy",   "HTTPS_PROXY",
        "TERMINFO"})
    EXPECT_TRUE(IsRefused(name)) << name;
}

TEST(AssignmentsTest, OtherVariablesCan) {
  for (const char* const name :
       {"host",  "path",    "HOST",    "PATHS",    "PS5",     "HIST",
        "lang",  "EPOCH",   "random",  "COMP",     "MANAGER", "LESSON",
        "proxy", "USER",    "NODE",    "NODE_ENV", "GIT",     "TZ",
        "TMP",   "DISPLAY", "SSH_PORT"})
    EXPECT_FALSE(IsRefused(name)) << name;
}

// The shells of this system may have more than their manual.
TEST(AssignmentsTest, NoVariableThatAShellBeginsWithCanBeSet) {
  for (const Words& shell :
       {Words{"bash", "-c", "compgen -v"},
        Words{"sh", "-c", R"(set | sed -n 's/^\([A-Za-z_0-9]*\)=.*/\1/p')"}}) {
    Outcome outcome;
    try {
      outcome =
          RunProgram({.arguments = Words{"-i"} + shell, .program = "env"});
    } catch (const std::exception&) {
    }
    std::istringstream names(outcome.output);
    for (std::string name; names >> name;)
      EXPECT_TRUE(IsRefused(name)) << shell.at(0) << ": " << name;
  }
}

}  // namespace
}  // namespace fairlead::tool::assignments_test
