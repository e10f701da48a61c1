// The table implementation of AES beside OpenSSL without vector and AES
// instructions, as on a processor that has none.
//
// OpenSSL reads the instructions that it may use from the environment when it
// is loaded, so this program sets the variable and executes itself again.

#include <unistd.h>

#include <cstdlib>

#include "fairlead/crypto/aes_paths.h"
#include "fairlead/crypto/aes_peers.h"
#include "fairlead/crypto/aes_race.h"

namespace fairlead {
namespace {

constexpr char kVariable[] = "OPENSSL_ia32cap";

// The C library passes the arguments of main() to constructors.
[[gnu::constructor]] void StartAgainWithoutInstructions(int, char** argv) {
  if (std::getenv(kVariable) != nullptr) return;
  setenv(kVariable, "0:0", 1);
  execv("/proc/self/exe", argv);
}

const bool entered = [] {
  ChooseAesPath(kAesTables);
  EnterAesRaces<Fairlead>();
#ifdef FAIRLEAD_PEER_OPENSSL
  EnterAesRaces<OpenSsl>();
#endif
  return true;
}();

}  // namespace
}  // namespace fairlead
