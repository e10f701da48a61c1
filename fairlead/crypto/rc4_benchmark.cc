// RC4 beside other libraries: encryption, and keying with the discard.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "fairlead/crypto/rc4.h"

#ifdef FAIRLEAD_PEER_OPENSSL
#include <openssl/evp.h>
#include <openssl/provider.h>
#endif
#ifdef FAIRLEAD_PEER_CRYPTOPP
#define CRYPTOPP_ENABLE_NAMESPACE_WEAK 1
#include <cryptopp/arc4.h>
#endif
#ifdef FAIRLEAD_PEER_GCRYPT
#include <gcrypt.h>
#endif
#ifdef FAIRLEAD_PEER_NETTLE
#include <nettle/arcfour.h>
#endif
#ifdef FAIRLEAD_PEER_BOTAN
#include <botan/stream_cipher.h>
#endif

namespace fairlead {
namespace {

using Bytes = std::vector<unsigned char>;

constexpr unsigned char kKey[16] = {'a', ' ', 'k', 'e', 'y'};
constexpr std::size_t kDiscarded = 12347;

class Fairlead {
 public:
  static constexpr char kName[] = "fairlead";
  static constexpr bool kDiscards = true;
  void SetKey(const unsigned char* key) {
    RC4Key record;
    for (std::size_t i = 0; i < sizeof kKey; ++i) record.key[i] = key[i];
    record.length = sizeof kKey;
    rc4_ = RC4(record);
  }
  void Encode(unsigned char* data, std::size_t size) {
    rc4_.Encode(data, static_cast<int>(size));
  }

 private:
  RC4 rc4_{RC4Key{}};
};

#ifdef FAIRLEAD_PEER_OPENSSL
class OpenSsl {
 public:
  static constexpr char kName[] = "openssl";
  static constexpr bool kDiscards = false;
  OpenSsl() {
    static OSSL_PROVIDER* const legacy = OSSL_PROVIDER_load(nullptr, "legacy");
    static OSSL_PROVIDER* const base = OSSL_PROVIDER_load(nullptr, "default");
    if (legacy == nullptr || base == nullptr) std::exit(1);
    EVP_EncryptInit_ex(context_.get(), EVP_rc4(), nullptr, nullptr, nullptr);
  }
  void SetKey(const unsigned char* key) {
    EVP_EncryptInit_ex(context_.get(), nullptr, nullptr, key, nullptr);
  }
  void Encode(unsigned char* data, std::size_t size) {
    int length = 0;
    EVP_EncryptUpdate(context_.get(), data, &length, data,
                      static_cast<int>(size));
  }

 private:
  std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context_{
      EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free};
};
#endif

#ifdef FAIRLEAD_PEER_CRYPTOPP
class CryptoPlusPlus {
 public:
  static constexpr char kName[] = "cryptopp";
  static constexpr bool kDiscards = false;
  void SetKey(const unsigned char* key) { cipher_.SetKey(key, sizeof kKey); }
  void Encode(unsigned char* data, std::size_t size) {
    cipher_.ProcessData(data, data, size);
  }

 private:
  CryptoPP::Weak::ARC4::Encryption cipher_;
};
#endif

#ifdef FAIRLEAD_PEER_GCRYPT
class Gcrypt {
 public:
  static constexpr char kName[] = "gcrypt";
  static constexpr bool kDiscards = false;
  Gcrypt() {
    gcry_check_version(nullptr);
    gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0);
    gcry_cipher_open(&cipher_, GCRY_CIPHER_ARCFOUR, GCRY_CIPHER_MODE_STREAM, 0);
  }
  ~Gcrypt() { gcry_cipher_close(cipher_); }
  Gcrypt(const Gcrypt&) = delete;
  Gcrypt& operator=(const Gcrypt&) = delete;

  void SetKey(const unsigned char* key) {
    gcry_cipher_setkey(cipher_, key, sizeof kKey);
  }
  void Encode(unsigned char* data, std::size_t size) {
    gcry_cipher_encrypt(cipher_, data, size, nullptr, 0);
  }

 private:
  gcry_cipher_hd_t cipher_ = nullptr;
};
#endif

#ifdef FAIRLEAD_PEER_NETTLE
class Nettle {
 public:
  static constexpr char kName[] = "nettle";
  static constexpr bool kDiscards = false;
  void SetKey(const unsigned char* key) {
    arcfour_set_key(&context_, sizeof kKey, key);
  }
  void Encode(unsigned char* data, std::size_t size) {
    arcfour_crypt(&context_, size, data, data);
  }

 private:
  arcfour_ctx context_;
};
#endif

#ifdef FAIRLEAD_PEER_BOTAN
class BotanRc4 {
 public:
  static constexpr char kName[] = "botan";
  static constexpr bool kDiscards = false;
  void SetKey(const unsigned char* key) { cipher_->set_key(key, sizeof kKey); }
  void Encode(unsigned char* data, std::size_t size) {
    cipher_->cipher1(data, size);
  }

 private:
  std::unique_ptr<Botan::StreamCipher> cipher_ =
      Botan::StreamCipher::create_or_throw("RC4");
};
#endif

// Sets a key so that the next byte is the first one of fairlead's stream.
template <class Competitor>
void Key(Competitor& competitor, const unsigned char* key) {
  competitor.SetKey(key);
  if (Competitor::kDiscards) return;
  unsigned char discarded[kDiscarded] = {};
  competitor.Encode(discarded, sizeof discarded);
}

// Ends the program unless the stream is fairlead's.
template <class Competitor>
void CheckAnswers() {
  Bytes ours(5000);
  Bytes theirs(5000);
  Fairlead fairlead;
  Key(fairlead, kKey);
  fairlead.Encode(ours.data(), ours.size());
  Competitor competitor;
  Key(competitor, kKey);
  competitor.Encode(theirs.data(), theirs.size());
  if (ours == theirs) return;
  std::printf("%s has a wrong result\n", Competitor::kName);
  std::exit(1);
}

template <class Competitor>
void Encode(benchmark::State& state) {
  Competitor competitor;
  competitor.SetKey(kKey);
  Bytes data(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    competitor.Encode(data.data(), data.size());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

template <class Competitor>
void SetKey(benchmark::State& state) {
  Competitor competitor;
  unsigned char key[sizeof kKey] = {};
  for (auto _ : state) {
    Key(competitor, key);
    benchmark::ClobberMemory();
    ++key[0];
  }
}

template <class Competitor>
void EnterRaces() {
  CheckAnswers<Competitor>();
  const std::string competitor = Competitor::kName;
  benchmark::RegisterBenchmark(("Rc4Encode/" + competitor).c_str(),
                               Encode<Competitor>)
      ->Arg(16)
      ->Arg(1024)
      ->Arg(1 << 20);
  benchmark::RegisterBenchmark(("Rc4KeyAndDiscard/" + competitor).c_str(),
                               SetKey<Competitor>);
}

const bool entered = [] {
  EnterRaces<Fairlead>();
#ifdef FAIRLEAD_PEER_OPENSSL
  EnterRaces<OpenSsl>();
#endif
#ifdef FAIRLEAD_PEER_CRYPTOPP
  EnterRaces<CryptoPlusPlus>();
#endif
#ifdef FAIRLEAD_PEER_GCRYPT
  EnterRaces<Gcrypt>();
#endif
#ifdef FAIRLEAD_PEER_NETTLE
  EnterRaces<Nettle>();
#endif
#ifdef FAIRLEAD_PEER_BOTAN
  EnterRaces<BotanRc4>();
#endif
  return true;
}();

}  // namespace
}  // namespace fairlead
