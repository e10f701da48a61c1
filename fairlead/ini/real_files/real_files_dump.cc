// Prints what the INI store and the document read, for real_files_test.py:
//
//   real_files_dump load FILE       prints each record as a line of JSON
//   real_files_dump save FILE COPY  loads one file and saves it as another
//   real_files_dump values FILE     reads a section and a key, a line each,
//                                   from standard input; prints the value as a
//                                   line of JSON; repeats
//   real_files_dump copy FILE COPY  writes the text of a document; fails if the
//                                   readings differ in it
//   real_files_dump live FILE       prints each entry, with the value that
//                                   counts for its name, as a line of JSON
//   real_files_dump set FILE COPY   sets the last key; writes the text, prints
//                                   the number of the result and its line
//
// JSON has no bytes: bytes above 127 are printed as Python's "surrogateescape"
// does, 0xe4 as "\udce4".

#include <exception>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/ini/ini_document.h"
#include "fairlead/ini/ini_file.h"

namespace {

using fairlead::CIniFile;
using fairlead::IniDocument;
using fairlead::IniEntry;
using fairlead::IniReading;
using fairlead::IniResult;
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

std::string TextOf(const char* file) {
  std::ostringstream text;
  text << std::ifstream(file, std::ios::binary).rdbuf();
  return text.str();
}

bool Write(const char* file, const std::string& text) {
  std::ofstream out(file, std::ios::binary);
  return bool(out << text << std::flush);
}

bool CopyText(const char* file, const char* copy) {
  const std::string text = IniDocument(TextOf(file)).Text();
  return text == IniDocument(TextOf(file), IniReading::kRecords).Text() &&
         Write(copy, text);
}

void PrintEntries(const char* file) {
  const IniDocument document(TextOf(file));
  for (const IniEntry& entry : document) {
    const auto value = document.Value(entry.section, entry.key);
    std::cout << '[' << Quoted({&entry.mark, 1}) << ", "
              << Quoted(entry.section) << ", " << Quoted(entry.key) << ", "
              << Quoted(entry.value) << ", " << Quoted(value.value_or(""))
              << "]\n";
  }
}

bool SetLastKey(const char* file, const char* copy) {
  IniDocument document(TextOf(file));
  std::string section;
  std::string key;
  for (const IniEntry& entry : document) {
    if (entry.IsHeader() || entry.IsDisabled()) continue;
    section = entry.section;
    key = entry.key;
  }
  if (key.empty()) return true;
  const IniResult result = document.Set({section, key}, "another value");
  const char* outcome = result.IsOk() ? "done" : "refused";
  if (result.code == IniResult::Code::kMalformed) outcome = "malformed";
  std::cout << outcome << ' ' << result.line << '\n';
  return Write(copy, document.Text());
}

bool RunOnCopy(const std::string& command, const char* file, const char* copy) {
  if (command == "save") return CIniFile::Save(copy, Loaded(file));
  if (command == "copy") return CopyText(file, copy);
  return command == "set" && SetLastKey(file, copy);
}

bool Run(const std::vector<const char*>& arguments) {
  const std::string command = arguments.size() < 3 ? "" : arguments[1];
  if (arguments.size() == 4)
    return RunOnCopy(command, arguments[2], arguments[3]);
  if (arguments.size() != 3) return false;
  if (command == "load") PrintRecords(arguments[2]);
  if (command == "values") PrintValues(arguments[2]);
  if (command == "live") PrintEntries(arguments[2]);
  return command == "load" || command == "values" || command == "live";
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
