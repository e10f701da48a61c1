// AES beside other libraries: single blocks, arrays and keying.

#include "fairlead/crypto/aes_benchmark.h"

#include "fairlead/crypto/aes_peers.h"

namespace fairlead::internal {
namespace {

struct Fastest {
  static constexpr char kName[] = "fairlead";
  static const AesImplementation& Implementation() {
    return FastestAesImplementation();
  }
};

// What a processor without AVX-512, and one without wide registers, uses.
struct Wide {
  static constexpr char kName[] = "fairlead_256_bits";
  static const AesImplementation& Implementation() { return kAesVectors256; }
};
struct Narrow {
  static constexpr char kName[] = "fairlead_128_bits";
  static const AesImplementation& Implementation() { return kAesInstructions; }
};

template <class Choice>
void RegisterIfAvailable() {
  if (Choice::Implementation().available())
    RegisterAesBenchmarks<FairleadAes<Choice>>();
}

const bool registered = [] {
  RegisterIfAvailable<Fastest>();
  RegisterIfAvailable<Wide>();
  RegisterIfAvailable<Narrow>();
#ifdef FAIRLEAD_PEER_OPENSSL
  RegisterAesBenchmarks<OpenSsl>();
#endif
#ifdef FAIRLEAD_PEER_CRYPTOPP
  RegisterAesBenchmarks<CryptoPlusPlus>();
#endif
#ifdef FAIRLEAD_PEER_GCRYPT
  RegisterAesBenchmarks<Gcrypt>();
#endif
#ifdef FAIRLEAD_PEER_NETTLE
  RegisterAesBenchmarks<Nettle>();
#endif
#ifdef FAIRLEAD_PEER_BOTAN
  RegisterAesBenchmarks<BotanAes>();
#endif
  return true;
}();

}  // namespace
}  // namespace fairlead::internal
