// Stores the settings of a tool in an INI file, and counts its runs there:
//
//     settings -file tool.ini -host example.org
//
// The first run creates the file. Whatever else a user writes into it is kept.

#include <fairlead/fairlead.h>

#include <cstdio>
#include <string>

namespace {

// Stores the parameters of the command line for the next run.
void Store(const fairlead::CSimpleCmdLine& args, const std::string& file) {
  using fairlead::WritePrivateProfileInteger;
  using fairlead::WritePrivateProfileStr;
  if (args.PresentParam("host"))
    WritePrivateProfileStr("server", "host", args.GetStrParam("host"), file);
  if (args.PresentParam("port"))
    WritePrivateProfileInteger("server", "port", args.GetIntParam("port", 0),
                               file);
}

// Increments the count in the file. A new key gets a comment.
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
  Store(args, file);

  // A write reports no errors: read the value back.
  const int run = CountThisRun(file);
  if (fairlead::GetPrivateProfileInteger("tool", "runs", 0, file) != run) {
    std::fprintf(stderr, "settings: cannot write %s\n", file.c_str());
    return 23;
  }

  // To look up many values, load the file once.
  fairlead::CIniFile settings;
  settings.Load(file);
  const std::string host = settings.GetValueDef("server", "host", "localhost");
  const std::string port = settings.GetValueDef("server", "port", "7000");
  std::printf("run %d: %s:%s\n", run, host.c_str(), port.c_str());
  return 0;
}
