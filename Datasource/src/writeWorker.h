#ifndef DATASOURCE_SRC_WRITEWORKER_H
#define DATASOURCE_SRC_WRITEWORKER_H

#include <atomic>
#include <cstddef>
#include <exception>
#include <memory>
#include <vector>

#include "Datasource/file.h"
#include "Datasource/platform/threads.h"
#include "Datasource/platform/types.h"
#include "Datasource/sortTemp/zlibCompress.h"
#include "filePosInfo.h"
#include "zcmpsPreIOThread.h"

/// Compresses the blocks handed over and writes them behind each other, on one thread, and appends their
/// records to the position table.
///
///   what                        | whose               | from             | to
///   ----------------------------+---------------------+------------------+-------------------
///   pInBuf, stInSize, error     | the stream's thread | its wait on      | its post of
///                               |                     | semFree          | semWork
///   the same                    | the worker's thread | its wait on      | its post of
///                               |                     | semWork          | semFree
///   table, file, all other      | the worker's thread until it has ended
///
/// The first error is kept and raised on the stream's thread, once, by its next request; blocks handed
/// over after it are dropped, so that no gap is written.
/// Kept as is: behind the end of the data semFree stays taken; nothing may be handed over any more.
class PreIOThread_W_C final : public PreIOThreadBase {
 public:
  /// Requires: `table` outlives the worker. `file` is held through a reference, which is taken here and
  /// dropped by the destructor. `plainStart` is the logical position of the first block,
  /// `compressedStart` the file position of its compressed bytes.
  PreIOThread_W_C(VORN_File* file, filePosInfo* table, std::size_t blockSize, int64 plainStart, int64 compressedStart);
  PreIOThread_W_C(const PreIOThread_W_C&) = delete;
  ~PreIOThread_W_C() override;

  std::size_t requestRead(void* dest, std::size_t reqSize, int64 fpos) override;
  /// Hands over `size` bytes, at most a block, that follow those handed over before; 0 is the end of the
  /// data. `fpos` is not used.
  /// Returns: `size`. Raises: the error that the worker met since the last request, if any.
  std::size_t requestWrite(void* src, std::size_t size, int64 fpos) override;
  bool writeThreadStep() override;
  bool readThreadStep() override;

  /// Raises the error that the worker met and nobody was told of, if any.
  /// Requires: the thread has ended.
  void raiseError();

  /// Returns: whether a block was not written, be it that no error tells so because an assertion's report
  ///   returned.
  /// Requires: the thread has ended.
  bool hasFailed() const noexcept { return failed; }
  /// Returns: whether the codec made nothing of a block, which no error tells of. Threads: any.
  bool hasMadeNothing() const noexcept { return madeNothing; }

  /// Returns: how many blocks lost data because they did not fit their compressed form. Threads: any.
  std::size_t truncatedBlocks() const noexcept { return truncated; }

  /// Returns: the records of those blocks. Requires: the thread has ended.
  const std::vector<bInfo>& cutBlocks() const noexcept { return cut; }

 private:
  void writeBlock();
  void writeOut();

  sfSemaphore semWork{0};
  sfSemaphore semFree{1};
  RefCountPtr<VORN_File> pFile;
  [[maybe_unused]] zlibCompressBlock codec;  // fixed layout; blocks go through the form's codec
  filePosInfo* pPosInfo;
  std::unique_ptr<unsigned char[]> pOutBuf;
  std::size_t stOutCount = 0;
  int64 fpOutPos;
  int64 fpCompPos;
  int64 fpOrgPos;
  std::unique_ptr<unsigned char[]> pInBuf;
  std::size_t stBlockSize;
  std::size_t stInSize = 0;
  bool failed = false;                    // a block was not written: what comes is dropped
  std::atomic<bool> madeNothing = false;  // the same, and there is no error
  std::exception_ptr error;               // the error, until it was raised
  std::vector<bInfo> cut;
  std::atomic<std::size_t> truncated = 0;
};

#endif
