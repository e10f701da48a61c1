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
//   real_files_dump read -          reads names of files, a line each, from
//                                   standard input; prints for each a line of
//                                   JSON with what "live" prints
//   real_files_dump edit -          reads edits, six lines each: a file, a
//   copy,
//                                   the name of the operation, the section, the
//                                   key or nothing, the text; writes the copies
//                                   and prints what came of each edit
//
// JSON has no bytes: bytes above 127 are printed as Python's "surrogateescape"
// does, 0xe4 as "\udce4".

#include <array>
#include <cstddef>
#include <exception>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fairlead/ini/ini_document.h"
#include "fairlead/ini/ini_document_model.h"
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

// Returns each entry as a list in JSON.
std::vector<std::string> EntriesOf(const char* file) {
  const IniDocument document(TextOf(file));
  std::vector<std::string> entries;
  for (const IniEntry& entry : document) {
    const auto value = document.Value(entry.section, entry.key);
    entries.push_back('[' + Quoted({&entry.mark, 1}) + ", " +
                      Quoted(entry.section) + ", " + Quoted(entry.key) + ", " +
                      Quoted(entry.value) + ", " + Quoted(value.value_or("")) +
                      ']');
  }
  return entries;
}

void PrintEntries(const char* file) {
  for (const std::string& entry : EntriesOf(file)) std::cout << entry << '\n';
}

void ReadFiles() {
  for (std::string file; std::getline(std::cin, file);) {
    const char* separator = "";
    std::cout << '[';
    for (const std::string& entry : EntriesOf(file.c_str()))
      std::cout << std::exchange(separator, ", ") << entry;
    std::cout << "]\n";
  }
}

const char* OutcomeOf(const IniResult& result) {
  if (result.code == IniResult::Code::kDone) return "done";
  return result.IsOk() ? "unchanged" : "refused";
}

bool EditFiles() {
  using enum fairlead::internal::DocumentOperation;
  const std::map<std::string, fairlead::internal::DocumentOperation>
      operations = {{"set", kSet},         {"add", kAdd},
                    {"delete", kDelete},   {"enable", kEnable},
                    {"disable", kDisable}, {"rename", kRename},
                    {"comment", kComment}};
  std::array<std::string, 6> lines;
  while (std::getline(std::cin, lines[0])) {
    for (std::size_t i = 1; i < lines.size(); ++i)
      if (!std::getline(std::cin, lines[i])) return false;
    const auto& [file, copy, operation, section, key, text] = lines;
    fairlead::internal::DocumentStep step;
    step.operation = operations.at(operation);
    step.section = section;
    if (!key.empty()) step.key = key;
    step.text = text;
    IniDocument document(TextOf(file.c_str()));
    std::cout << OutcomeOf(Perform(step, document)) << '\n';
    if (!Write(copy.c_str(), document.Text())) return false;
  }
  return true;
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
  if (command == "read") ReadFiles();
  if (command == "edit") return EditFiles();
  return command == "load" || command == "values" || command == "live" ||
         command == "read";
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
