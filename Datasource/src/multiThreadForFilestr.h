#ifndef DATASOURCE_SRC_MULTITHREADFORFILESTR_H
#define DATASOURCE_SRC_MULTITHREADFORFILESTR_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "Datasource/file.h"
#include "Datasource/platform/threads.h"
#include "Datasource/platform/types.h"
#include "zcmpsPreIOThread.h"

/// Reads the block behind the one last asked for, on a thread of its own, while the stream consumes
/// that.
///
/// The stream's thread and the worker pass one token between them:
///
///   what                                   | whose                | from             | to
///   ---------------------------------------+----------------------+------------------+-----------------
///   file, the hand-off's buffer, nextPos,  | the stream's thread  | its wait on      | its post of
///   prefetchPos, count                     |                      | prefetchDone     | prefetchWanted
///   the same                               | the worker's thread  | its wait on      | its post of
///                                          |                      | prefetchWanted   | prefetchDone
///   stale                                  | the stream's thread  | always           |
///   stopRequested                          | both                 | (atomic)         |
///
/// A fetch that fails is forgotten: the stream's thread then reads the block itself and meets the error
/// there.
class multiThreadForFilestr final : public PreIOThreadBase {
 public:
  /// Requires: `file` outlives the worker (the stream that holds the worker holds the file).
  multiThreadForFilestr(VORN_File* file, std::size_t blockSize, bool ownsThread);
  /// A copy works on the same hand-off and the same thread, which it neither stops nor frees; once the
  /// original is stopped or gone, it reads without a thread.
  multiThreadForFilestr(const multiThreadForFilestr& other);
  multiThreadForFilestr& operator=(const multiThreadForFilestr&) = delete;
  ~multiThreadForFilestr() override;

  /// Fills `dest`, which has room for a block, with the block at file position `fpos`, and lets the
  /// worker fetch the one at `fpos` + `reqSize` next. Size 0 at position 0 is the stop request.
  /// Returns: bytes of the block, fewer than a block only at the end of the file.
  /// Raises: 1003.
  /// Kept as is: a block that was not fetched ahead is read whole, whatever `reqSize` says.
  std::size_t requestRead(void* dest, std::size_t reqSize, int64 fpos) override;
  std::size_t requestWrite(void* src, std::size_t size, int64 fpos) override;
  bool writeThreadStep() override;
  bool readThreadStep() override;

  /// Makes the next request read the file even if its block was fetched ahead: the file has changed.
  void forgetPrefetch() noexcept { handOff->stale = true; }

 private:
  friend struct multiThreadForFilestrPeer;  // the tests' view of the fields

  struct HandOff {
    explicit HandOff(std::size_t blockSize);
    int64 nextPos = -1;      // the block to fetch next
    int64 prefetchPos = -1;  // the block in prefetchBuffer, -1 none
    std::unique_ptr<unsigned char[]> prefetchBuffer;
    int64 count = 0;                          // valid bytes in prefetchBuffer
    bool stale = false;                       // the file has changed since that block was fetched
    std::atomic<bool> stopRequested = false;  // no thread fetches any more
  };

  sfSemaphore prefetchDone{1};
  sfSemaphore prefetchWanted{0};
  VORN_File* file;
  std::shared_ptr<HandOff> handOff;
  std::size_t blockSize;
  bool ownsThread;
};

#endif
