#ifndef DATASOURCE_TESTS_COMPRESSEDWORKERTEST_H
#define DATASOURCE_TESTS_COMPRESSEDWORKERTEST_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Datasource/file.h"
#include "Datasource/platform/threads.h"
#include "filePosInfo.h"
#include "readWorkers.h"
#include "support/compressedTest.h"
#include "writeWorker.h"

namespace support {

/// The three-stage reader with the two operations that it leaves open.
class ThreeStageReader : public PreIOThread_Tri_R_D {
 public:
  using PreIOThread_Tri_R_D::newThreadForDecompress;
  using PreIOThread_Tri_R_D::PreIOThread_Tri_R_D;
  std::size_t requestWrite(void* /*src*/, std::size_t /*size*/, int64 /*fpos*/) override { return 0; }
  bool writeThreadStep() override { return true; }
};

/// Runs `body` on a thread of a pool and stops the pool as soon as the body has begun. Returns: whether
/// the body then stood at a semaphore that nobody posts.
inline bool waitsForEver(std::function<void()> body) {
  struct Task : CallBackObject {
    explicit Task(std::function<void()> what) : CallBackObject(nullptr), run(std::move(what)) {}
    int callBack(void* prtData) override {
      static_cast<sfSemaphore*>(prtData)->postSemaphore();
      run();
      return 0;
    }
    std::function<void()> run;
  };
  bool cancelled = false;
  sfSemaphore begun(0);
  sfThreadPool pool(1, 0);
  pool.init();
  pool.startAll();
  pool.submit(new Task([&] {
                try {
                  body();
                } catch (const sfWaitCancelled&) {
                  cancelled = true;
                  throw;
                }
              }),
              &begun, 1);
  begun.waitSemaphore();
  pool.stopAll();
  return cancelled;
}

/// Base of the tests of workers on their own: a file of small blocks, its table, and the open file.
class WorkerTest : public CompressedTest {
 protected:
  static constexpr std::size_t kSmall = 4096;

  void TearDown() override {
    file = RefCountPtr<VORN_File>();
    CompressedTest::TearDown();
  }

  /// Makes and opens a file of blocks of these lengths; the table is loaded for finding. `change` may change the
  /// file before it is opened.
  void useFile(
      const std::vector<std::size_t>& lengths, const std::function<void()>& change = [] {}) {
    useImage(Image::of(kRow0, lengths), change);
  }
  void useImage(
      const Image& made, const std::function<void()>& change = [] {}) {
    image = made;
    makeFile("blocks", image);
    change();
    openFile("rb");
    Image small = image;
    small.tableHead.orginalSize = static_cast<std::int32_t>(kSmall);
    const std::string stored = small.table();
    ASSERT_TRUE(table.loadForRead(reinterpret_cast<const unsigned char*>(stored.data()), stored.size(), false));
  }
  void openFile(const char* mode) {
    file = RefCountPtr<VORN_File>(new VORN_File);
    ASSERT_TRUE(file->Open(named(folder.path("blocks")), mode));
    probe.clear();
  }

  int64 position(std::size_t block) const { return image.records.at(block).orginalPos; }
  std::size_t length(std::size_t block) const { return static_cast<std::size_t>(image.records.at(block).orginalSize); }
  std::string plain(std::size_t block) const { return caseBytes(position(block), length(block)); }
  /// The call that reads a block's compressed bytes, as the probe lists it.
  std::string readOf(std::size_t block) const {
    return "read " + std::to_string(image.records.at(block).translateSize) + " @" +
           std::to_string(image.records.at(block).translatePos);
  }
  /// Damages the middle of a block's compressed bytes in the file, which nobody may have open.
  void damage(std::size_t block) {
    const bInfo& record = image.records.at(block);
    const int64 place = record.translatePos + record.translateSize / 2;
    folder.patchByte("blocks", place, static_cast<unsigned char>(folder.byteAt("blocks", place) ^ 0x55));
  }

  /// Asks the worker for a block. Returns: the bytes that it delivered.
  std::string request(PreIOThreadBase& worker, std::size_t block) const {
    return request(worker, position(block), length(block));
  }
  static std::string request(PreIOThreadBase& worker, int64 at, std::size_t size) {
    std::string bytes(size, '?');
    bytes.resize(worker.requestRead(bytes.data(), size, at));
    return bytes;
  }
  template <typename Worker>
  std::unique_ptr<Worker> startReader(std::size_t wholeBlock = kSmall) {
    auto worker = std::make_unique<Worker>(file.get(), &table, wholeBlock);
    EXPECT_TRUE(worker->initThread(true));
    EXPECT_TRUE(worker->startThread());
    return worker;
  }
  static void end(PreIOThreadBase& worker) {
    EXPECT_TRUE(worker.stopThread());
    EXPECT_TRUE(worker.releasePool());
  }
  /// The calls of the kind "read ..." in a list of calls.
  static std::vector<std::string> readsIn(const std::vector<std::string>& calls) {
    std::vector<std::string> reads;
    for (const std::string& call : calls) {
      if (call.compare(0, 4, "read") == 0) {
        reads.push_back(call);
      }
    }
    return reads;
  }

  Image image;
  filePosInfo table{kSmall};
  RefCountPtr<VORN_File> file;
};

/// Base of the tests of one kind of worker that reads. Steps that no thread runs are taken by the test, so that the
/// order is fixed.
template <typename Worker>
class ReadingWorkerTest : public WorkerTest {
 protected:
  void TearDown() override {
    worker.reset();
    WorkerTest::TearDown();
  }

  /// A worker without a thread; the test takes its steps.
  Worker* alone() {
    if (worker == nullptr) {
      worker = std::make_unique<Worker>(file.get(), &table, kSmall);
    }
    return worker.get();
  }
  /// Asks while nobody runs the worker's steps.
  std::string requestAlone(std::size_t block) { return request(*alone(), block); }
  /// A worker with its threads that was asked for the first `count` blocks.
  std::unique_ptr<Worker> startedAndAsked(std::size_t count, std::size_t wholeBlock = kSmall) {
    auto reader = startReader<Worker>(wholeBlock);
    for (std::size_t block = 0; block < count; ++block) {
      EXPECT_EQ(request(*reader, block), plain(block)) << block;
    }
    return reader;
  }

  std::unique_ptr<Worker> worker;
};

}  // namespace support

#endif
