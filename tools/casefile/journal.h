#ifndef CASEFILE_JOURNAL_H
#define CASEFILE_JOURNAL_H

#include <array>
#include <memory>
#include <optional>
#include <string>

#include "byteSource.h"
#include "layout.h"
#include "platform/system.h"

namespace casefile {

/// What an append overwrites, kept beside the data file in FILE.journal: the heading, and everything
/// from the first byte that changes to the end of the file.
///
///   0        16      17         24     32          40           48       56        80
///   +--------+-------+----------+------+-----------+------------+--------+---------+------+-------+
///   | magic  | state | not used | row0 | old length| tail start | anchor | heading | tail | check |
///   +--------+-------+----------+------+-----------+------------+--------+---------+------+-------+
///
/// Numbers are little-endian, 8 bytes wide. `anchor` is a CRC-32 over bytes in front of heading and
/// tail, which no append touches: it tells whether the data file is still the one that was journalled.
/// `check` is a CRC-32 over all but the state; state is 'o' while the append is open, 'f' when it
/// has finished. The tail's length is old length - tail start.
struct JournalFacts {
  int64 row0 = 0;
  int64 oldLength = 0;
  int64 tailStart = 0;
  std::uint32_t anchor = 0;
  std::array<unsigned char, kHeadingSize> heading{};
};

/// Returns: the name of a data file's journal; a link and the file that it leads to have the same one.
std::string journalName(const std::string& file);
/// Returns: whether an append to `file` has not finished.
/// Raises: Failure when there is a journal that cannot be read.
bool hasOpenJournal(const std::string& file);
/// Says that an append to `file` has not finished, when that is so. Returns: whether it is.
bool mentionOpenJournal(const std::string& file);
/// Raises: Failure when an append to `file` has not finished.
void refuseOpenJournal(const std::string& file);
/// Takes an unfinished append back: the data file has its old bytes and length again, on the disk; a
/// finished append's journal is only removed. Returns: whether something was taken back.
/// Raises: Failure when another process appends right now, or the journal or the file is not
///   what it should be; the file is unchanged then.
bool rollBack(const std::string& file);

/// The journal of an append that this process makes.
class Journal {
 public:
  /// Writes the journal of `file` and returns when it is on the disk. The layout must still be the
  /// file's.
  /// Raises: Failure when another append is at work.
  Journal(const std::string& file, const Layout& layout);
  /// Takes the append back unless it has finished; an error met there is said.
  ~Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  /// The append has finished and is on the disk: removes the journal.
  void finish();

 private:
  std::string file_;
  std::optional<platform::File> claim_;
};

/// A data file as it was before the append that its journal belongs to.
class SourceBeforeAppend : public ByteSource {
 public:
  /// Raises: Failure when the journal or the file is not what it should be.
  explicit SourceBeforeAppend(const std::string& file);
  const std::string& name() const noexcept override { return current_.name(); }
  int64 size() const override { return facts_.oldLength; }
  std::size_t read(void* buffer, std::size_t count, int64 position) override;

 private:
  FileSource current_;
  platform::File handle_;
  std::unique_ptr<ByteSource> journal_;
  JournalFacts facts_;
};

}  // namespace casefile

#endif
