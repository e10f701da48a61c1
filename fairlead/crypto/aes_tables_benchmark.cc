// The table implementation of AES beside OpenSSL without vector and AES
// instructions, as on a processor that has none.
//
// OpenSSL reads which instructions it may use from the environment when it is
// loaded: this program sets the variable and executes itself again.

#include <unistd.h>

#include <cstdlib>

#include "fairlead/crypto/aes_benchmark.h"
#include "fairlead/crypto/aes_implementations.h"
#include "fairlead/crypto/aes_peers.h"

namespace fairlead::internal {
namespace {

constexpr char kVariable[] = "OPENSSL_ia32cap";

// The C library passes the arguments of main() to constructors.
[[gnu::constructor]] void StartAgainWithoutInstructions(int, char** argv) {
  if (std::getenv(kVariable) != nullptr) return;
  setenv(kVariable, "0:0", 1);
  execv("/proc/self/exe", argv);
}

struct Tables {
  static constexpr char kName[] = "fairlead";
  static const AesImplementation& Implementation() { return kAesTables; }
};

const bool registered = [] {
  RegisterAesBenchmarks<FairleadAes<Tables>>();
#ifdef FAIRLEAD_PEER_OPENSSL
  RegisterAesBenchmarks<OpenSsl>();
#endif
  return true;
}();

}  // namespace
}  // namespace fairlead::internal
