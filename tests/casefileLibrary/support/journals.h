#ifndef CASEFILE_TESTS_JOURNALS_H
#define CASEFILE_TESTS_JOURNALS_H

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "casefile/error.h"
#include "journal/fileLock.h"
#include "journal/journalForm.h"
#include "journal/rollBack.h"
#include "support/bytesReader.h"
#include "support/compressedImage.h"
#include "support/testFolder.h"

namespace support {

/// A data file `file`, and journals made without an append.
class JournalTest : public testing::Test {
 protected:
  static constexpr int64 kRow0 = 100;

  JournalTest() { folder_.writePlain("file", image_.bytes()); }

  /// Returns: the error of a call; none when there is none.
  static std::optional<casefile::Error> errorOf(const std::function<void()>& work) {
    try {
      work();
    } catch (const casefile::Error& error) {
      return error;
    }
    return std::nullopt;
  }
  static std::string wordsOf(const std::function<void()>& work) {
    const auto error = errorOf(work);
    return error ? error->what() : "";
  }

  casefile::files::FileIdentity identity(const std::string& name) const {
    return casefile::files::statusOf(folder_.path(name))->identity;
  }
  /// Where an append to the file begins.
  casefile::AppendPlace place() const { return {kRow0, image_.records.back()}; }

  /// The journal that an append to a file of these bytes would keep.
  std::string journalOf(const std::string& bytes, const casefile::AppendPlace& place,
                        const casefile::files::FileIdentity& identity, bool finished = false) const {
    using namespace casefile;
    BytesReader source(bytes);
    auto facts = factsOf(source, place, identity);
    EXPECT_TRUE(facts);
    facts->finished = finished;
    auto out = files::SystemFile::open(folder_.path("made"), files::kOpenNew | files::kOpenWrite);
    EXPECT_TRUE(writeJournal(out, source, *facts, [] {}));
    out.close();
    const std::string made = folder_.readWhole("made");
    std::filesystem::remove(folder_.path("made"));
    return made;
  }
  std::string journalOf(const std::string& name, bool finished = false) const {
    return journalOf(folder_.readWhole(name), place(), identity(name), finished);
  }
  static std::string damaged(std::string journal) {
    journal.back() = static_cast<char>(journal.back() ^ 1);
    return journal;
  }
  /// Writes one, for this user alone.
  void leave(const std::string& journal, const std::string& name = "file.journal") const {
    using std::filesystem::perms;
    folder_.writePlain(name, journal);
    std::filesystem::permissions(folder_.path(name), perms::owner_read | perms::owner_write);
  }
  bool takesBack(const std::string& name = "file") const {
    casefile::FileLock lock(folder_.path(name));
    lock.lockForWriting();
    return casefile::rollBack(lock, folder_.path(name));
  }

  TestFolder folder_;
  const Image image_ = Image::of(kRow0, {300});
  const std::string file_ = folder_.path("file");
};

}  // namespace support

#endif
