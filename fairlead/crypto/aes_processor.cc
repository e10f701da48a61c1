// Asks the processor, and what the operating system has told it.

#include "fairlead/crypto/aes_processor.h"

#include <cpuid.h>

#include <cstdint>

namespace fairlead {
namespace {

struct Registers {
  unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
};

// All zero where the processor does not know the leaf.
Registers CpuId(unsigned leaf) {
  Registers r;
  __get_cpuid_count(leaf, 0, &r.eax, &r.ebx, &r.ecx, &r.edx);
  return r;
}

bool Has(std::uint32_t word, std::uint32_t bits) {
  return (word & bits) == bits;
}

// Does the operating system keep these registers when it switches tasks?
bool SystemKeeps(std::uint32_t registers) {
  if (!Has(CpuId(1).ecx, bit_OSXSAVE)) return false;
  std::uint32_t low = 0;
  std::uint32_t high = 0;
  __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return Has(low, registers);
}

constexpr std::uint32_t kKeeps256 = 0x06;  // The halves of the ymm registers.
constexpr std::uint32_t kKeeps512 = 0xE6;  // Those, zmm and the masks.

}  // namespace

bool ProcessorHasAes() {
  return Has(CpuId(1).ecx, bit_AES | bit_SSSE3 | bit_SSE4_1);
}

bool ProcessorHasVectorAes() {
  const Registers more = CpuId(7);
  return ProcessorHasAes() && SystemKeeps(kKeeps256) &&
         Has(CpuId(1).ecx, bit_AVX) && Has(more.ebx, bit_AVX2) &&
         Has(more.ecx, bit_VAES);
}

bool ProcessorHasWiderAes() {
  return ProcessorHasVectorAes() && SystemKeeps(kKeeps512) &&
         Has(CpuId(7).ebx, bit_AVX512F);
}

}  // namespace fairlead
