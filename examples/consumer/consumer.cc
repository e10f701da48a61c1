// A minimal program that uses fairlead: prints the port of its command line.

#include <fairlead/fairlead.h>

#include <cstdio>

int main(int argc, char** argv) {
  fairlead::CSimpleCmdLine args(argc, argv);
  const int port = args.GetIntParam("port", 4000);
  std::printf("port %s\n", fairlead::inttostr(port).c_str());
  return 0;
}
