// Which AES instructions processor and operating system support. Not installed.

#ifndef FAIRLEAD_CRYPTO_AES_PROCESSOR_H_
#define FAIRLEAD_CRYPTO_AES_PROCESSOR_H_

namespace fairlead::internal {

bool ProcessorHasAes();        // On 128-bit registers, with SSE 4.1.
bool ProcessorHasVectorAes();  // On 256-bit registers, with AVX 2.
bool ProcessorHasWiderAes();   // On 512-bit registers, with AVX-512F.

}  // namespace fairlead::internal

#endif  // FAIRLEAD_CRYPTO_AES_PROCESSOR_H_
