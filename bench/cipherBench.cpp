#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <vector>

#include "Datasource/platform/cipher.h"
#include "compressedForm.h"
#include "recordData.h"

// The bundled cipher on one block buffer; compare with `openssl speed -evp aes-256-ecb -bytes 4190208`.

namespace {

using Operation = int (*)(unsigned char**, std::int32_t*, const unsigned char*, std::int32_t);

void runCipher(benchmark::State& state, Operation operation) {
  const auto data = bench::recordData(kBlockSize);
  for ([[maybe_unused]] auto pass : state) {
    unsigned char* output = nullptr;
    std::int32_t length = 0;
    if (operation(&output, &length, data.data(), static_cast<std::int32_t>(kBlockSize)) != 1) {
      std::abort();
    }
    benchmark::DoNotOptimize(output);
    datasource::cipher::FreeOutData(output);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kBlockSize));
}

void CipherEncrypt(benchmark::State& state) { runCipher(state, datasource::cipher::Encrypt); }
BENCHMARK(CipherEncrypt);
void CipherDecrypt(benchmark::State& state) { runCipher(state, datasource::cipher::Decrypt); }
BENCHMARK(CipherDecrypt);

}  // namespace
