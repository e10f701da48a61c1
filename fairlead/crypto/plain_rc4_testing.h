// RC4 as in textbooks, an independent oracle for the stream. Not installed.

#ifndef FAIRLEAD_CRYPTO_PLAIN_RC4_TESTING_H_
#define FAIRLEAD_CRYPTO_PLAIN_RC4_TESTING_H_

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace fairlead::internal {

class PlainRc4 {
 public:
  explicit PlainRc4(const std::vector<unsigned char>& key) {
    for (std::size_t i = 0; i < 256; ++i) s_.push_back(i);
    std::size_t j = 0;
    for (std::size_t i = 0; i < 256; ++i) {
      j = (j + s_[i] + key[i % key.size()]) % 256;
      std::swap(s_[i], s_[j]);
    }
  }

  unsigned char Next() {
    i_ = (i_ + 1) % 256;
    j_ = (j_ + s_[i_]) % 256;
    std::swap(s_[i_], s_[j_]);
    return static_cast<unsigned char>(s_[(s_[i_] + s_[j_]) % 256]);
  }

  void Skip(int count) {
    for (int i = 0; i < count; ++i) Next();
  }

 private:
  std::vector<std::size_t> s_;
  std::size_t i_ = 0;
  std::size_t j_ = 0;
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_CRYPTO_PLAIN_RC4_TESTING_H_
