#ifndef CASEFILE_PLAININPUT_H
#define CASEFILE_PLAININPUT_H

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "Datasource/platform/types.h"
#include "fileNames.h"

namespace casefile::program {

/// Opens a file for reading, with more flags of files::OpenFlag.
/// Raises: Failure (kRefused).
files::SystemFile openForReading(const std::string& name, unsigned moreFlags = 0);

/// Plain bytes from a file or from standard input, piece by piece, in order.
///
/// Kept in one buffer of 256 KiB: the present piece lies in it from `next_` to `end_`.
class PlainInput {
 public:
  /// Raises: Failure (kRefused) when the file cannot be opened.
  explicit PlainInput(const std::string& name);

  /// Returns: how many bytes there are in all, or -1 when that is not known.
  int64 size() const { return file_.size(); }
  const std::string& name() const noexcept { return name_; }
  files::FileStatus status() const { return file_.status(); }
  int descriptor() const noexcept { return file_.descriptor(); }

  /// Makes sure that there is a present piece. Returns: false at the end of the data.
  /// Raises: Failure (kRefused) when reading fails; Interrupted.
  bool fill();
  const unsigned char* data() const noexcept { return buffer_.data() + next_; }
  std::size_t available() const noexcept { return end_ - next_; }
  std::span<const std::byte> bytes() const noexcept { return std::as_bytes(std::span(data(), available())); }
  /// Reads the next bytes, what is left of the present piece first. Returns: how many; 0 at the end of the data.
  /// Raises: as fill.
  std::size_t read(std::span<std::byte> into);
  /// Leaves `count` bytes of the present piece behind.
  void take(std::size_t count) noexcept { next_ += count; }

 private:
  std::size_t readFile(void* bytes, std::size_t count);

  std::string name_;
  files::SystemFile file_;
  std::vector<unsigned char> buffer_;
  std::size_t next_ = 0;
  std::size_t end_ = 0;
};

/// Reads the rest of an input into a Writer or an Appender, straight into its blocks.
template <typename Output>
void readAll(PlainInput& input, Output& output) {
  for (std::size_t count = 1; count > 0;) {
    count = input.read(output.room());
    output.advance(count);
  }
}

}  // namespace casefile::program

#endif
