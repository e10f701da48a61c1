// AES beside other libraries: single blocks, arrays and keying.

#include "fairlead/crypto/aes_benchmark.h"

#include "fairlead/crypto/aes_peers.h"

namespace fairlead::internal {
namespace {

const bool registered = [] {
  RegisterAesBenchmarks<Fairlead>();
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
