#ifndef DATASOURCE_BENCH_RECORDDATA_H
#define DATASOURCE_BENCH_RECORDDATA_H

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace bench {

/// The bytes that every benchmark of a whole file moves.
inline constexpr std::size_t kDataSize = std::size_t{256} << 20;

/// Returns: `size` bytes of records as a survey has them: rows of ten 8-byte values (small whole numbers,
/// numbers with a missing-value code, decimals, blank-padded strings).
std::vector<unsigned char> recordData(std::size_t size);

/// Returns: recordData(kDataSize), made once.
const std::vector<unsigned char>& sharedData();

/// A file of our own in the temporary folder, removed at the end.
class ScratchFile {
 public:
  explicit ScratchFile(const char* name);
  ~ScratchFile();
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;
  std::string name() const { return path_.string(); }
  /// Writes the shared data into the file, plain.
  void fill() const;

 private:
  std::filesystem::path path_;
};

}  // namespace bench

#endif
