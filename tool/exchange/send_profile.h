// Settings that a section of an INI file keeps for the command line.

#ifndef FAIRLEAD_TOOL_EXCHANGE_SEND_PROFILE_H_
#define FAIRLEAD_TOOL_EXCHANGE_SEND_PROFILE_H_

#include <chrono>
#include <optional>
#include <string>

#include "fairlead/ini/ini_document.h"
#include "tool/command/arguments.h"
#include "tool/exchange/body.h"
#include "tool/traffic/parameters.h"

namespace fairlead::tool {

inline constexpr Parameter kSettings = {
    .name = "settings",
    .placeholder = "FILE",
    .kind = Kind::kFile,
    .group = Group::kWhere,
    .help =
        "an INI file whose section -profile holds host, port, timeout, idle, "
        "view and, for send, eol; the command line takes precedence"};
inline constexpr Parameter kProfile = {
    .name = "profile",
    .placeholder = "SECTION",
    .kind = Kind::kNonEmptyText,
    .group = Group::kWhere,
    .help = "the section of the settings file"};
inline constexpr Parameter kSaveprofile = {
    .name = "saveprofile",
    .kind = Kind::kSwitch,
    .group = Group::kWhere,
    .help = "save those of these settings that are given here"};

/// What every command with a profile takes.
inline constexpr auto kProfileUses =
    Uses(Optional(kSettings, kProfile, Optional(kSaveprofile)), Optional(kHost),
         Optional(kPort), Optional(kTimeout), Optional(kIdle), Optional(kView));

/// What a profile keeps; a command may lack -eol, which then is not given.
inline constexpr auto kKeptUses = Uses(kProfileUses, Optional(kEol));

/// The parameters given on the command line, or else in a section of a file.
class Profile {
 public:
  using Listed = Arguments<kKeptUses>::Listed;

  /// @throws Failure with kWrongUsage; for the file, with kCannotRead or
  ///     kMalformedInput; with kAnswerIsNo if it has no such section. With
  ///     -saveprofile, the file and the section may be missing.
  explicit Profile(const Arguments<kProfileUses>& arguments);

  /// Returns whether one of the two has the parameter.
  bool Has(Listed parameter) const;

  /// Returns the value from the command line, or else from the file, or else
  /// the default.
  ///
  /// @throws Failure with kMalformedInput for a value in the file that the
  ///     parameter does not accept
  std::string Text(Listed parameter) const;
  template <typename Enumeration>
  Enumeration Chosen(
      Arguments<kKeptUses>::ListedChoice<Enumeration> parameter) const {
    return ValueNamed<Enumeration>(*parameter, Text(parameter));
  }
  std::optional<std::chrono::milliseconds> Duration(
      Arguments<kKeptUses>::ListedDuration parameter) const;

  /// With -saveprofile, writes what was given into the file, all or nothing.
  ///
  /// @throws Failure with kCannotWrite
  void Save() const;

 private:
  void ReadFile();
  std::string InFile(const Parameter& parameter) const;
  void WriteGiven(IniDocument& document) const;

  const Arguments<kKeptUses> arguments_;
  std::string file_;
  std::string section_;
  std::optional<IniDocument> document_;  // Of the file, if one is given.
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_SEND_PROFILE_H_
