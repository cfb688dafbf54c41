#ifndef DATASOURCE_SRC_BLOCKREADING_H
#define DATASOURCE_SRC_BLOCKREADING_H

#include <cstddef>

#include "Datasource/file.h"
#include "blockReader.h"
#include "compressedForm.h"

using datasource::form::BlockBuffers;

/// How the faults of a block are reported: as assertions with the reporter's own words, or, for a fetch
/// ahead of the reader, not at all (the reader meets the fault when it asks for the block).
struct FaultReport {
  const wchar_t* lengthText;  ///< the expression when the length is not the recorded one; null: no report
  const wchar_t* file;        ///< the reporting source
  unsigned int line;

  bool silent() const noexcept { return lengthText == nullptr; }
  /// Reports `text`, or the length fault by default, unless silent.
  void raise(const wchar_t* text = nullptr) const;
};

inline constexpr FaultReport kNoReport{nullptr, nullptr, 0};

/// Decompresses the `count` bytes of a block that were read into the buffers.
/// Returns: whether exactly the recorded block came out, the stream's check value included.
bool unpackBlock(const bInfo& record, const BlockBuffers& buffers, std::size_t count, const FaultReport& report);

/// Reads a block's compressed bytes into `compressed`, which has room for `blockSize` bytes. Nothing is read
/// for a record whose numbers cannot be right. `ahead` of the reader a failure leaves no mark on the file.
/// Returns: the bytes that the file held of them. Raises: 1003.
std::size_t readCompressedBytes(VORN_File& file, const bInfo& record, unsigned char* compressed, std::size_t blockSize,
                                bool ahead);

/// Reads a block's compressed bytes and decompresses them.
/// Returns: whether exactly the recorded block came out. Raises: 1003.
bool readBlock(VORN_File& file, const bInfo& record, const BlockBuffers& buffers, const FaultReport& report);

#endif
