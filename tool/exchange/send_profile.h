// Settings that a section of an INI file keeps for the command line.

#ifndef FAIRLEAD_TOOL_EXCHANGE_SEND_PROFILE_H_
#define FAIRLEAD_TOOL_EXCHANGE_SEND_PROFILE_H_

#include <optional>
#include <string>

#include "tool/command/arguments.h"
#include "tool/io/memory_copy.h"

namespace fairlead::tool {

inline constexpr Parameter kSettings = {
    .name = "settings",
    .word = "FILE",
    .kind = Kind::kFile,
    .group = "Where",
    .help =
        "an INI file, in which the section of -profile keeps host, port, "
        "timeout, idle, eol and view, disabled ones too; what is given on the "
        "command line goes before it"};
inline constexpr Parameter kProfile = {
    .name = "profile",
    .word = "SECTION",
    .kind = Kind::kWord,
    .group = "Where",
    .help = "the section of the file of -settings"};
inline constexpr Parameter kSaveprofile = {
    .name = "saveprofile",
    .word = "",
    .kind = Kind::kSwitch,
    .group = "Where",
    .help = "write those of these settings that are given here into the file"};

/// The parameters given on the command line, and behind them those that stand
/// in the section of a file, for commands that have -settings.
class Profile {
 public:
  /// @param arguments outlive the object
  /// @throws Failure with kWrongUsage; for the file, with kCannotRead or
  ///     kMalformedInput; with kAnswerIsNo where it has no such section. With
  ///     -saveprofile, file and section may be missing.
  explicit Profile(const Arguments& arguments);

  /// Whether the parameter stands in one of the two places.
  bool Has(const Parameter& parameter) const;

  /// The value from the first place that has one, else the fallback of the
  /// table.
  ///
  /// @throws Failure with kMalformedInput for a value in the file that may not
  ///     stand behind the parameter
  std::string Text(const Parameter& parameter) const;
  int Number(const Parameter& parameter) const;

  /// With -saveprofile, writes what was given into the file, all or nothing.
  ///
  /// @throws Failure with kCannotWrite
  void Save() const;

 private:
  void ReadFile();
  std::string InFile(const Parameter& parameter) const;
  bool WriteGiven(const std::string& file) const;

  const Arguments& arguments_;
  std::string file_;
  std::string section_;
  std::optional<MemoryCopy> copy_;  // Of the file, where one is given.
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_SEND_PROFILE_H_
