// One setting of an INI file, read or written by one call.

#include "fairlead/ini/profile.h"

#include "fairlead/ini/ini_file.h"
#include "fairlead/text/strings.h"

namespace fairlead {

std::string GetPrivateProfileStr(std::string_view section_name,
                                 std::string_view key_name,
                                 std::string default_value,
                                 const std::string& file_name) {
  std::string value = CIniFile::GetValue(key_name, section_name, file_name);
  if (value.empty()) return default_value;
  return value;
}

void WritePrivateProfileStr(std::string_view section_name,
                            std::string_view key_name, std::string_view value,
                            const std::string& file_name) {
  CIniFile::SetValue(key_name, value, section_name, file_name);
}

int GetPrivateProfileInteger(std::string_view section_name,
                             std::string_view key_name, int default_value,
                             const std::string& file_name) {
  int number = default_value;
  getval<int, int>(CIniFile::GetValue(key_name, section_name, file_name),
                   number, default_value);
  return number;
}

void WritePrivateProfileInteger(std::string_view section_name,
                                std::string_view key_name, int value,
                                const std::string& file_name) {
  WritePrivateProfileStr(section_name, key_name, inttostr(value), file_name);
}

}  // namespace fairlead
