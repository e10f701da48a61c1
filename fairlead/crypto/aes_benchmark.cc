// AES beside other libraries: single blocks, arrays and keying.

#include "fairlead/crypto/aes_peers.h"
#include "fairlead/crypto/aes_race.h"

namespace fairlead {
namespace {

const bool entered = [] {
  EnterAesRaces<Fairlead>();
#ifdef FAIRLEAD_PEER_OPENSSL
  EnterAesRaces<OpenSsl>();
#endif
#ifdef FAIRLEAD_PEER_CRYPTOPP
  EnterAesRaces<CryptoPlusPlus>();
#endif
#ifdef FAIRLEAD_PEER_GCRYPT
  EnterAesRaces<Gcrypt>();
#endif
#ifdef FAIRLEAD_PEER_NETTLE
  EnterAesRaces<Nettle>();
#endif
#ifdef FAIRLEAD_PEER_BOTAN
  EnterAesRaces<BotanAes>();
#endif
  return true;
}();

}  // namespace
}  // namespace fairlead
