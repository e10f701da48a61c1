// Keeps the settings of a tool in an INI file, and counts its runs there:
//
//     settings -file tool.ini -host example.org
//
// The first run makes the file. Whatever else a user writes into it stays.

#include <fairlead/fairlead.h>

#include <cstdio>
#include <string>

namespace {

// What was given on the command line is kept for the next time.
void Keep(const fairlead::CSimpleCmdLine& args, const std::string& file) {
  using fairlead::WritePrivateProfileInteger;
  using fairlead::WritePrivateProfileStr;
  if (args.PresentParam("host"))
    WritePrivateProfileStr("server", "host", args.GetStrParam("host"), file);
  if (args.PresentParam("port"))
    WritePrivateProfileInteger("server", "port", args.GetIntParam("port", 0),
                               file);
}

// One more than the file says. The comment is set once, with the key.
int CountThisRun(const std::string& file) {
  const int runs = fairlead::GetPrivateProfileInteger("tool", "runs", 0, file);
  fairlead::WritePrivateProfileInteger("tool", "runs", runs + 1, file);
  if (runs == 0) {
    fairlead::CIniFile::SetRecordComments("# how often the tool was run",
                                          "runs", "tool", file);
  }
  return runs + 1;
}

}  // namespace

int main(int argc, char** argv) {
  const fairlead::CSimpleCmdLine args(argc, argv);
  const std::string file = args.GetStrParam("file", "tool.ini");
  Keep(args, file);

  // A write reports nothing; the value read back tells that it arrived.
  const int run = CountThisRun(file);
  if (fairlead::GetPrivateProfileInteger("tool", "runs", 0, file) != run) {
    std::fprintf(stderr, "settings: cannot write %s\n", file.c_str());
    return 23;
  }

  // Many values are best asked of a file that was loaded once.
  fairlead::CIniFile settings;
  settings.Load(file);
  const std::string host = settings.GetValueDef("server", "host", "localhost");
  const std::string port = settings.GetValueDef("server", "port", "7000");
  std::printf("run %d: %s:%s\n", run, host.c_str(), port.c_str());
  return 0;
}
