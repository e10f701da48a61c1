// Reads the features of the processor, and those enabled by the operating
// system.

#include "fairlead/crypto/aes_processor.h"

#include <cpuid.h>

#include <cstdint>

namespace fairlead::internal {
namespace {

struct Registers {
  unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
};

// Returns all zero if the processor does not have the leaf.
Registers CpuId(unsigned leaf) {
  Registers r;
  __get_cpuid_count(leaf, 0, &r.eax, &r.ebx, &r.ecx, &r.edx);
  return r;
}

bool Has(std::uint32_t word, std::uint32_t bits) {
  return (word & bits) == bits;
}

// Returns whether the operating system saves these registers at a task switch.
bool SystemSaves(std::uint32_t registers) {
  if (!Has(CpuId(1).ecx, bit_OSXSAVE)) return false;
  std::uint32_t low = 0;
  std::uint32_t high = 0;
  __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return Has(low, registers);
}

constexpr std::uint32_t kYmmState = 0x06;  // xmm and the upper halves of ymm.
constexpr std::uint32_t kZmmState = 0xE6;  // Those, zmm and the mask registers.

}  // namespace

bool ProcessorHasAes() {
  return Has(CpuId(1).ecx, bit_AES | bit_SSSE3 | bit_SSE4_1);
}

bool ProcessorHasVectorAes() {
  const Registers more = CpuId(7);
  return ProcessorHasAes() && SystemSaves(kYmmState) &&
         Has(CpuId(1).ecx, bit_AVX) && Has(more.ebx, bit_AVX2) &&
         Has(more.ecx, bit_VAES);
}

bool ProcessorHasWiderAes() {
  return ProcessorHasVectorAes() && SystemSaves(kZmmState) &&
         Has(CpuId(7).ebx, bit_AVX512F);
}

}  // namespace fairlead::internal
