// Shows what the store makes of a file, for real_files_test.py to judge:
//
//   real_files_dump load FILE       the records, each a line of JSON
//   real_files_dump save FILE COPY  loads one file and saves it as another
//   real_files_dump values FILE     the values of the keys on standard input,
//                                   which holds a line for each section and a
//                                   line for its key; each a line of JSON
//
// JSON has no bytes: one above 127 is shown as Python's "surrogateescape" has
// it, 0xe4 as "\udce4".

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

bool Perform(const std::vector<const char*>& words) {
  const std::string command = words.size() < 3 ? "" : words[1];
  if (command == "save" && words.size() == 4)
    return CIniFile::Save(words[3], Loaded(words[2]));
  if (words.size() != 3) return false;
  if (command == "load") PrintRecords(words[2]);
  if (command == "values") PrintValues(words[2]);
  return command == "load" || command == "values";
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Perform({argv, argv + argc}) ? 0 : 2;
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
