#ifndef DATASOURCE_SRC_READWORKERS_H
#define DATASOURCE_SRC_READWORKERS_H

#include <atomic>
#include <cstddef>
#include <memory>

#include "Datasource/file.h"
#include "Datasource/platform/threads.h"
#include "Datasource/platform/types.h"
#include "Datasource/sortTemp/zlibCompress.h"
#include "blockReading.h"
#include "filePosInfo.h"
#include "zcmpsPreIOThread.h"

/// Reads and decompresses the block behind the one last delivered, on one thread.
///
///   what                                  | whose
///   --------------------------------------+-------------------------------------------------------------
///   fpNextPos, fpCurPos, pPreBuf, pCompBuf,| whoever holds mutex
///   stCurSize                             |
///   the right to request                  | the client, from its wait on semReady until the worker posts
///                                         | it again behind a finished fetch
///   bEnd                                  | both (atomic)
///
/// A fetch that fails is forgotten and reports nothing: the client then reads the block itself.
/// Kept as is: once the last block was delivered nothing is fetched and semReady stays taken, so the
///   owner asks no more and ends the worker.
class PreIOThread_R_D final : public PreIOThreadBase {
 public:
  /// Requires: `table` outlives the worker. `file` is held through a reference, which is taken here and
  /// dropped by the destructor.
  PreIOThread_R_D(VORN_File* file, filePosInfo* table, std::size_t blockSize);
  PreIOThread_R_D(const PreIOThread_R_D&) = delete;
  ~PreIOThread_R_D() override;

  /// Fills `dest` with the block of `reqSize` bytes that starts at logical position `fpos`; size 0 at
  /// position 0 is the end request.
  /// Returns: `reqSize`; fewer when the block is damaged, or not of that size, and the assertion about it
  ///   returned. Raises: 1003.
  std::size_t requestRead(void* dest, std::size_t reqSize, int64 fpos) override;
  std::size_t requestWrite(void* src, std::size_t size, int64 fpos) override;
  bool writeThreadStep() override;
  bool readThreadStep() override;

 private:
  std::size_t deliver(unsigned char* dest, std::size_t reqSize, int64 fpos);
  std::size_t readBlockAt(int64 fpos, unsigned char* dest, const FaultReport& report);
  void fetch() noexcept;

  sfSemaphore semReady{1};
  sfSemaphore semWork{0};
  RefCountPtr<VORN_File> pFile;
  [[maybe_unused]] zlibCompressBlock codec;  // fixed layout; blocks go through the form's codec
  filePosInfo* pPosInfo;
  int64 fpNextPos = -1;
  int64 fpCurPos = -1;
  std::unique_ptr<unsigned char[]> pPreBuf;
  std::unique_ptr<unsigned char[]> pCompBuf;
  std::size_t stBlockSize;
  std::size_t stCurSize = 0;
  sfMutex mutex;
  std::atomic<bool> bEnd = false;
};

/// Reads blocks on one thread and decompresses them on another, each one block ahead of the next stage.
/// A class that derives from it supplies the two writing operations. The threads look neither at its part nor at
/// the table of virtual operations, so that part may go before they have ended.
///
///   what                            | whose
///   --------------------------------+-----------------------------------------------------------------
///   pCompBuf, fpCurReadPos,         | whoever took semReadDone, until it or the read thread (woken
///   fpNextReadPos                   | through semReadWork) gives it back
///   pPlainBuf, fpCurDecompressPos,  | whoever took semDecompDone, until it or the decompress thread (woken
///   fpNextDecompressPos             | through semDecompWork) gives it back
///   bReadEnd, bCompressEnd          | all (atomic)
///
/// Kept as is: the end request wakes only the decompress thread; the read thread ends with the pool.
/// Kept as is: all positions start at 0, so a first request for logical position 0 is answered with the
///   buffer as it was made (zeros).
class PreIOThread_Tri_R_D : public PreIOThreadBase {
 public:
  PreIOThread_Tri_R_D(VORN_File* file, filePosInfo* table, std::size_t blockSize);
  PreIOThread_Tri_R_D(const PreIOThread_Tri_R_D&) = delete;
  ~PreIOThread_Tri_R_D() override;

  bool initThread(bool bRead) override;
  bool startThread() override;
  bool releasePool() override;
  /// As PreIOThread_R_D::requestRead.
  std::size_t requestRead(void* dest, std::size_t reqSize, int64 fpos) override;
  bool readThreadStep() final;
  /// One pass of the decompressing thread. Returns: true to end it.
  virtual bool decompressThreadStep() final;

 protected:
  class newThreadForDecompress : public CallBackObject {
   public:
    newThreadForDecompress() : CallBackObject(nullptr) {}
    int callBack(void* prtData) override;
  };

 private:
  enum class Report { no, yes };

  /// Runs this class's own step, whatever the worker is by then.
  class ReadSteps final : public newThreadForRead {
   public:
    int callBack(void* prtData) override;
  };

  bool decompressAt(int64 fpos, Report report);
  bool decompressHolding(int64 fpos, const bInfo& record, Report report);
  bool readCompressed(int64 fpos, Report report);

  [[maybe_unused]] zlibCompressBlock codec;  // fixed layout; blocks go through the form's codec
  filePosInfo* pPosInfo;
  RefCountPtr<VORN_File> pFile;
  newThreadForRead* pReadCallBack = nullptr;              // owned by the pool
  newThreadForDecompress* pDecompressCallBack = nullptr;  // owned by the pool
  std::atomic<bool> bReadEnd = false;
  std::atomic<bool> bCompressEnd = false;
  std::unique_ptr<unsigned char[]> pCompBuf;
  std::unique_ptr<unsigned char[]> pPlainBuf;
  int64 fpCurReadPos = 0;
  int64 fpCurDecompressPos = 0;
  int64 fpNextReadPos = 0;
  int64 fpNextDecompressPos = 0;
  sfSemaphore semReadDone{1};
  sfSemaphore semReadWork{0};
  sfSemaphore semDecompDone{1};
  sfSemaphore semDecompWork{0};
  std::size_t stBlockSize;
  std::size_t stReadCount = 0;  // compressed bytes in pCompBuf; goes with fpCurReadPos
};

#endif
