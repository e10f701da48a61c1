// Keys as assignments that a shell can evaluate.

#include "tool/ini/assignments.h"

#include <algorithm>
#include <array>
#include <functional>

#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/ini/listing.h"

namespace fairlead::tool {
namespace {

// Variables that sh or bash set or use (those of bash(1), "Shell Variables"),
// or that have usual programs run, load or connect to something else: what is
// exported already reaches them.
constexpr auto kReserved = std::to_array<std::string_view>({
    "ALL_PROXY",
    "APT_CONFIG",
    "AWKLIBPATH",
    "AWKPATH",
    "BROWSER",
    "CDPATH",
    "CHILD_MAX",
    "CLASSPATH",
    "COLUMNS",
    "COMPILER_PATH",
    "COMPREPLY",
    "COPROC",
    "COPROC_PID",
    "CPATH",
    "CURL_CA_BUNDLE",
    "CURL_HOME",
    "CVS_RSH",
    "DIRSTACK",
    "DOCKER_HOST",
    "EDITOR",
    "EMACS",
    "EMACSLOADPATH",
    "ENV",
    "EPOCHREALTIME",
    "EPOCHSECONDS",
    "EUID",
    "EXECIGNORE",
    "EXINIT",
    "FCEDIT",
    "FIGNORE",
    "FPATH",
    "FTP_PROXY",
    "FUNCNAME",
    "FUNCNEST",
    "GCC_EXEC_PREFIX",
    "GCONV_PATH",
    "GETCONF_DIR",
    "GLIBC_TUNABLES",
    "GLOBIGNORE",
    "GLOBSORT",
    "GNUMAKEFLAGS",
    "GNUPGHOME",
    "GREP_OPTIONS",
    "GROUPS",
    "HGEDITOR",
    "HGRCPATH",
    "HISTCMD",
    "HISTCONTROL",
    "HISTFILE",
    "HISTFILESIZE",
    "HISTIGNORE",
    "HISTSIZE",
    "HISTTIMEFORMAT",
    "HOME",
    "HOSTALIASES",
    "HOSTFILE",
    "HOSTNAME",
    "HOSTTYPE",
    "HTTPS_PROXY",
    "HTTP_PROXY",
    "IFS",
    "IGNOREEOF",
    "INPUTRC",
    "INSIDE_EMACS",
    "JDK_JAVA_OPTIONS",
    "KRB5_CONFIG",
    "LANG",
    "LANGUAGE",
    "LESS",
    "LESSCLOSE",
    "LESSEDIT",
    "LESSHISTFILE",
    "LESSKEY",
    "LESSKEYIN",
    "LESSOPEN",
    "LIBRARY_PATH",
    "LINENO",
    "LINES",
    "LOCALDOMAIN",
    "LOCPATH",
    "MACHTYPE",
    "MAIL",
    "MAILCHECK",
    "MAILPATH",
    "MAKEFILES",
    "MAKEFLAGS",
    "MANOPT",
    "MANPAGER",
    "MANPATH",
    "MANROFFOPT",
    "MAPFILE",
    "MFLAGS",
    "NETRC",
    "NLSPATH",
    "NODE_EXTRA_CA_CERTS",
    "NODE_OPTIONS",
    "NODE_PATH",
    "NO_PROXY",
    "NULLCMD",
    "OLDPWD",
    "OPTARG",
    "OPTERR",
    "OPTIND",
    "OSTYPE",
    "PAGER",
    "PATH",
    "PHPRC",
    "PHP_INI_SCAN_DIR",
    "PIPESTATUS",
    "POSIXLY_CORRECT",
    "PPID",
    "PROMPT",
    "PROMPT_COMMAND",
    "PROMPT_DIRTRIM",
    "PS0",
    "PS1",
    "PS2",
    "PS3",
    "PS4",
    "PSQL_PAGER",
    "PWD",
    "RANDOM",
    "READNULLCMD",
    "REPLY",
    "RESOLV_HOST_CONF",
    "RES_OPTIONS",
    "SECONDS",
    "SHELL",
    "SHELLOPTS",
    "SHLVL",
    "SRANDOM",
    "SSH_ASKPASS",
    "SSH_ASKPASS_REQUIRE",
    "SSH_AUTH_SOCK",
    "SSH_PKCS11_HELPER",
    "SSH_SK_HELPER",
    "SSH_SK_PROVIDER",
    "SSL_CERT_DIR",
    "SSL_CERT_FILE",
    "SVN_EDITOR",
    "SVN_SSH",
    "TAR_OPTIONS",
    "TCLLIBPATH",
    "TERM",
    "TERMCAP",
    "TERMINFO",
    "TERMINFO_DIRS",
    "TERMPATH",
    "TEXTDOMAIN",
    "TEXTDOMAINDIR",
    "TIMEFORMAT",
    "TMOUT",
    "TMPDIR",
    "TZDIR",
    "UID",
    "VIM",
    "VIMINIT",
    "VIMRUNTIME",
    "VISUAL",
    "WGETRC",
    "XAUTHORITY",
    "_JAVA_OPTIONS",
    "all_proxy",
    "auto_resume",
    "ftp_proxy",
    "histchars",
    "http_proxy",
    "https_proxy",
    "no_proxy",
});
constexpr auto kReservedPrefixes = std::to_array<std::string_view>(
    {"BASH",  "COMP_",    "DBUS_", "GIO_",      "GIT_",     "GTK_",
     "JAVA_", "LC_",      "LD_",   "LUA_",      "OPENSSL_", "PERL5",
     "PERL_", "PYTHON",   "QT_",   "READLINE_", "RSYNC_",   "RUBY",
     "SUDO_", "SYSTEMD_", "XDG_",  "ZSH"});

bool IsLetterOrDigit(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
         (c >= '0' && c <= '9');
}

std::string Variable(std::string_view prefix, std::string_view key) {
  std::string name =
      prefix.empty() ? std::string(key) : Concat(prefix, "_", key);
  std::ranges::replace_if(
      name, [](char c) { return !IsLetterOrDigit(c); }, '_');
  const bool begins_with_digit = name[0] >= '0' && name[0] <= '9';
  return begins_with_digit ? Concat("_", name) : name;
}

std::uint32_t HashOf(std::string_view name) {
  return static_cast<std::uint32_t>(std::hash<std::string_view>()(name));
}

std::string Spelled(std::string_view key) {
  return Concat("key ", Quoted(key));
}

bool IsReserved(std::string_view name) {
  return std::ranges::find(kReserved, name) != kReserved.end() ||
         std::ranges::any_of(kReservedPrefixes,
                             [name](std::string_view prefix) {
                               return name.starts_with(prefix);
                             }) ||
         std::ranges::all_of(name, [](char c) { return c == '_'; });
}

// Throws for a variable that must not be set, or not to this value.
void CheckVariable(std::string_view name, std::string_view key,
                   std::string_view value) {
  if (IsReserved(name))
    throw Failure(kMalformedInput,
                  Concat(Spelled(key), " would set the variable ", name,
                         ", which shells or programs use"));
  if (value.find('\0') != std::string_view::npos)
    throw Failure(
        kMalformedInput,
        Concat(Spelled(key), " has a zero byte, which no variable can hold"));
}

}  // namespace

std::string Assignment(std::string_view prefix, std::string_view key,
                       std::string_view value) {
  const std::string name = Variable(prefix, key);
  CheckVariable(name, key, value);
  return Concat(name, "=", ShellQuoted(value), "\n");
}

void CheckAssignment(std::string_view prefix, std::string_view key,
                     std::string_view value) {
  CheckVariable(Variable(prefix, key), key, value);
}

void SharedVariables::Add(std::string_view prefix, std::string_view key) {
  hashes_.push_back(HashOf(Variable(prefix, key)));
}

void SharedVariables::Check(std::string_view prefix, std::string_view key) {
  if (!is_complete_) KeepShared();
  const std::string name = Variable(prefix, key);
  if (!std::ranges::binary_search(hashes_, HashOf(name))) return;
  const std::string origin = Concat(prefix, "\n", key);
  const auto [place, is_new] = origins_.try_emplace(name, origin);
  if (!is_new && place->second != origin)
    throw Failure(kMalformedInput, Concat(Spelled(key),
                                          " and another key would both set the "
                                          "variable ",
                                          name));
}

void SharedVariables::KeepShared() {
  is_complete_ = true;
  std::ranges::sort(hashes_);
  auto end = hashes_.begin();
  for (auto at = std::ranges::adjacent_find(hashes_); at != hashes_.end();
       at = std::adjacent_find(at, hashes_.end())) {
    const std::uint32_t hash = *at;
    at = std::find_if(at, hashes_.end(),
                      [hash](std::uint32_t other) { return other != hash; });
    *end++ = hash;
  }
  hashes_.erase(end, hashes_.end());
}

}  // namespace fairlead::tool
