// Prints one value of an INI file, with fairlead: -file F -section S -key K.

#include <cstdio>
#include <vector>

#include "fairlead/cmdline/simple_cmd_line.h"
#include "fairlead/ini/ini_file.h"

int main(int argc, char** argv) {
  const fairlead::CSimpleCmdLine args(argc, argv);
  const std::string section = args.GetStrParam("section", "");
  const std::string key = args.GetStrParam("key", "");

  std::vector<fairlead::CIniFile::Record> records;
  fairlead::CIniFile::Load(args.GetStrParam("file", ""), records);
  for (const fairlead::CIniFile::Record& record : records) {
    if (!fairlead::CIniFile::RecordSectionKeyIs{section, key}(record)) continue;
    std::puts(record.Value.c_str());
    return 0;
  }
  return 1;
}
