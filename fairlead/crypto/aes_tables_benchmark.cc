// AES by tables beside OpenSSL without vector and AES instructions: what a
// processor gets that has none.
//
// OpenSSL reads from the environment, while it is loaded, which instructions
// it may use; so this program sets that and starts itself again. It is run like
// every other benchmark.

#include <unistd.h>

#include <cstdlib>

#include "fairlead/crypto/aes_paths.h"
#include "fairlead/crypto/aes_peers.h"
#include "fairlead/crypto/aes_race.h"

namespace fairlead {
namespace {

constexpr char kVariable[] = "OPENSSL_ia32cap";

// The C library hands constructors the arguments of main().
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
