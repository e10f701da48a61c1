// A plugin: a shared object that uses fairlead and offers one function.

#include <fairlead/fairlead.h>

extern "C" __attribute__((visibility("default"))) int PluginPort(
    const char* line) {
  fairlead::CCRC crc{.rotation = 5};
  crc.AddVal(7U);
  const fairlead::CSimpleCmdLine args(line);
  return args.GetIntParam("port", static_cast<int>(crc.ReadCRC()));
}
