#ifndef DATASOURCE_FORM_FORMREADING_H
#define DATASOURCE_FORM_FORMREADING_H

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

#include "compressedForm.h"
#include "formRules.h"
#include "randomAccessReader.h"

namespace datasource::form {

/// Checks the records of a position table one by one against each other and the file.
///
/// A wrong number shows where the next one does not follow from it; the fault is then attributed to the block
/// whose number the neighbours contradict. A thousand faults are listed, the others counted.
class ChainCheck {
 public:
  ChainCheck(int64 row0, int64 tablePos, int64 fileSize, std::size_t count) noexcept;

  /// Takes the next record. Returns: the logical position where its block starts, told by its neighbours too.
  int64 take(const bInfo& record);
  /// Looks at the last record. Returns: the file position where the blocks end.
  int64 finish();

  /// The records so far that cannot be used or do not follow the one before.
  std::size_t breaks() const noexcept { return breaks_; }
  std::vector<Fault>& faults() noexcept { return faults_; }
  std::size_t unlistedFaults() const noexcept { return unlisted_; }
  bool unlistedHinder() const noexcept { return unlistedHinder_; }

 private:
  void add(Rule rule, std::size_t block, int64 found, int64 expected);
  void countBreak(const bInfo& record);
  int64 checkLogicalPosition(const bInfo& record);
  void checkFilePosition(int64 nextPos);
  void checkSizes(const bInfo& record);

  int64 row0_;
  int64 tablePos_;
  int64 fileSize_;
  std::size_t count_;
  std::size_t index_ = 0;         // of the record to take
  std::optional<bInfo> pending_;  // the one taken last: its file position is judged by the next one's
  int64 logicalEnd_;              // where the next block should start
  int64 fileEnd_;                 // where the pending one should start in the file
  std::size_t breaks_ = 0;
  std::vector<Fault> faults_;
  std::size_t unlisted_ = 0;
  bool unlistedHinder_ = false;
};

/// A record of a table and what goes with it.
struct TableRecord {
  bInfo record;
  const unsigned char* stored;  ///< its 24 bytes as they lie in the file
  int64 logicalStart;           ///< where its block starts, told by its neighbours too
};

/// Reads heading and table of a compressed file, step by step, and checks them against each other and the file's
/// size; blocks are not looked into, but for the first bytes of one that the table hides.
///
/// The steps are made in their order, each only if the one before returned true. What they find wrong joins
/// `faults`.
/// Cost: one read for the heading and one for each 48 KiB of table. A table is believed piece by piece, whatever
/// length it claims.
class FormReading {
 public:
  /// When to leave a table that breaks its rules, at the end of a piece.
  enum class Leave { atFirstHindrance, behindAThousandBreaks };

  /// Requires: `file` outlives the object. `swapped`: the file has the other byte order.
  FormReading(RandomAccessReader& file, int64 row0, bool swapped, Leave leave);

  /// Returns: whether the heading names a table that can be looked at.
  bool readHeading();
  /// For one that was read already, as readHeading.
  bool useHeading(const compressionHeading& heading);
  /// Returns: whether the table's records can be looked at.
  bool readTableHeader();
  /// Gives the records to `take`, which may be given some of a table that is then refused.
  /// Returns: whether all were read.
  bool readRecords(const std::function<void(const TableRecord&)>& take);

  const compressionHeading& heading() const noexcept { return heading_; }
  const bInfo& tableHeader() const noexcept { return tableHeader_; }
  const std::vector<Fault>& faults() const noexcept { return faults_; }
  /// Returns: how many faults of records are not listed, there being a thousand others.
  std::size_t unlistedFaults() const noexcept { return unlisted_; }
  bool unlistedHinder() const noexcept { return unlistedHinder_; }
  /// Returns: the records of a table that was left before its end.
  std::size_t unreadRecords() const noexcept { return unread_; }
  /// Returns: the file position where the blocks end. Requires: readRecords returned true.
  int64 blocksEnd() const noexcept { return blocksEnd_; }

 private:
  std::size_t recordCount() const noexcept;
  bool loadPiece(int64 from);
  bool isToBeLeft(ChainCheck& chain) const;
  void takeFaults(ChainCheck& chain);
  void checkBehindBlocks();

  RandomAccessReader& file_;
  int64 row0_;
  bool swapped_;
  Leave leave_;
  int64 fileSize_;
  compressionHeading heading_{};
  bInfo tableHeader_{};
  std::vector<unsigned char> piece_;  // file bytes of the table
  std::vector<Fault> faults_;
  std::size_t unlisted_ = 0;
  bool unlistedHinder_ = false;
  std::size_t unread_ = 0;
  int64 blocksEnd_ = 0;
};

}  // namespace datasource::form

#endif
