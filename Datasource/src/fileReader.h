#ifndef DATASOURCE_SRC_FILEREADER_H
#define DATASOURCE_SRC_FILEREADER_H

#include <cstddef>

#include "Datasource/file.h"
#include "Datasource/platform/types.h"
#include "randomAccessReader.h"

/// A raw file as the room of the compressed form reads it. `ahead` of the reader a failure leaves no mark on
/// the file.
class FileReader final : public datasource::form::RandomAccessReader {
 public:
  explicit FileReader(VORN_File& file, bool ahead = false) noexcept : file_(file), ahead_(ahead) {}

  int64 size() const override { return file_.Size(); }
  /// Raises: 1003.
  std::size_t read(void* buffer, std::size_t count, int64 position) override {
    return ahead_ ? file_.ReadAhead(buffer, count, position) : file_.Read(buffer, count, position);
  }

 private:
  VORN_File& file_;
  bool ahead_;
};

#endif
