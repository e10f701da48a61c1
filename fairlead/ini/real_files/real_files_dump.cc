// Prints what the INI store reads, for real_files_test.py:
//
//   real_files_dump load FILE       prints each record as a line of JSON
//   real_files_dump save FILE COPY  loads one file and saves it as another
//   real_files_dump values FILE     reads a section and a key, a line each,
//   from
//                                   standard input; prints the value as a line
//                                   of JSON; repeats
//
// JSON has no bytes: bytes above 127 are printed as Python's "surrogateescape"
// does, 0xe4 as "\udce4".

#include <exception>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/ini/ini_file.h"

namespace {

using fairlead::CIniFile;
using Records = std::vector<CIniFile::Record>;

std::string Quoted(std::string_view bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text = "\"";
  for (const char byte : bytes) {
    const auto number = static_cast<unsigned char>(byte);
    text += number < 0x80 ? "\\u00" : "\\udc";
    text += kDigits[number / 16];
    text += kDigits[number % 16];
  }
  return text + '"';
}

Records Loaded(const char* file) {
  Records records;
  CIniFile::Load(file, records);
  return records;
}

void PrintRecords(const char* file) {
  for (const CIniFile::Record& record : Loaded(file)) {
    std::cout << '[' << Quoted(record.Comments) << ", "
              << Quoted({&record.Commented, 1}) << ", "
              << Quoted(record.Section) << ", " << Quoted(record.Key) << ", "
              << Quoted(record.Value) << "]\n";
  }
}

void PrintValues(const char* file) {
  std::string section;
  std::string key;
  while (std::getline(std::cin, section) && std::getline(std::cin, key))
    std::cout << Quoted(CIniFile::GetValue(key, section, file)) << '\n';
}

bool Run(const std::vector<const char*>& arguments) {
  const std::string command = arguments.size() < 3 ? "" : arguments[1];
  if (command == "save" && arguments.size() == 4)
    return CIniFile::Save(arguments[3], Loaded(arguments[2]));
  if (arguments.size() != 3) return false;
  if (command == "load") PrintRecords(arguments[2]);
  if (command == "values") PrintValues(arguments[2]);
  return command == "load" || command == "values";
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run({argv, argv + argc}) ? 0 : 2;
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
