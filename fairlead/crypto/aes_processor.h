// Which AES instructions processor and operating system have.

#ifndef FAIRLEAD_CRYPTO_AES_PROCESSOR_H_
#define FAIRLEAD_CRYPTO_AES_PROCESSOR_H_

namespace fairlead {

bool ProcessorHasAes();        // On 128-bit registers, with SSE 4.1.
bool ProcessorHasVectorAes();  // On 256-bit registers, with AVX 2.
bool ProcessorHasWiderAes();   // On 512-bit registers, with AVX-512F.

}  // namespace fairlead

#endif  // FAIRLEAD_CRYPTO_AES_PROCESSOR_H_
