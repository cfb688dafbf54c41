#ifndef DATASOURCE_FORM_FORMRULES_H
#define DATASOURCE_FORM_FORMRULES_H

#include <cstddef>
#include <optional>
#include <vector>

#include "compressedForm.h"

// Every rule of a compressed file's heading, table and chain of blocks, once. The library reads a file exactly when
// no rule is broken that hinders reading; programs that judge files put the same answer into words.

namespace datasource::form {

/// The rules, in the order in which they are looked at. P is the row-0 position.
enum class Rule {
  headingIsWhole,               ///< 24 bytes are there at P
  headingNamesItsPlace,         ///< `_caseStartPos` is P
  tableHasHeader,               ///< `_size` holds a header record
  tableLiesInFile,              ///< all `_size` bytes at `_infoPos`
  tableFitsOneTransfer,         ///< `_size` <= 2,147,483,647
  tableIsReadable,              ///< the file gives all bytes that its size promises
  headerHasMark,                ///< the header record's `orginalPos` is -100
  headerBlockSizeIsSize,        ///< its `orginalSize` is above 0
  headerCountIsCount,           ///< its `translateSize` is not negative
  tableIsWholeRecords,          ///< `_size` is a multiple of 24
  tableHoldsItsRecords,         ///< the count and `_size` agree
  blocksHaveRoom,               ///< no more records than bytes between heading and table
  headerBlockSizeIsUsual,       ///< its `orginalSize` is 4,190,208
  headerFilePosIsNought,        ///< its `translatePos` is 0
  recordIsPossible,             ///< a record's sizes fit a block, its sums do not overflow, and the file holds it
  blockReachesNext,             ///< the next block's logical start is this one's end
  blockStartsAtPrevious,        ///< a block's logical start is the end of the one before; the first one's is P
  blockReachesNextInFile,       ///< the same of the compressed bytes
  blockStartsAtPreviousInFile,  ///< the same of the compressed bytes; the first one's start is P + 24
  onlyLastBlockIsShort,         ///< every block but the last holds 4,190,208 bytes
  tableLiesBehindBlocks,        ///< the blocks end where the table starts, or before it
  tableFollowsBlocks,           ///< the blocks end where the table starts
  tableHidesNoBlock,            ///< what lies where the blocks end is not the beginning of another block
  breaksAreFew,                 ///< not so many records break rules that the rest was left unread
  lastBlockFillsItsRecord       ///< the last block's zlib stream has as many bytes as recorded
};

/// What a broken rule means for the file.
enum class Effect {
  hindersReading,    ///< the file is refused, for reading and for appending
  hindersAppending,  ///< it can be read; appending is refused
  skipsBytes,        ///< it can be read position by position, but a sequential read skips bytes; nothing is refused
  deservesAWord      ///< nothing is refused
};
/// Returns: what breaking the rule means.
Effect effectOf(Rule rule) noexcept;
/// Returns: the rule's name, as it stands above.
const char* nameOf(Rule rule) noexcept;

/// One rule that a file breaks.
struct Fault {
  Rule rule;
  std::optional<std::size_t> block;  ///< the block that it makes doubtful, or none: then it is the file
  int64 found = 0;                   ///< the number that breaks the rule, where there is one
  int64 expected = 0;                ///< the number that would not
  bool hindersReading() const noexcept { return effectOf(rule) == Effect::hindersReading; }
};

/// Returns: the first fault that hinders reading, or null.
const Fault* firstHindrance(const std::vector<Fault>& faults) noexcept;

/// Returns: whether all `_size` bytes at `_infoPos`, which may be any numbers, lie in a file of `fileSize` bytes.
bool tableLiesInFile(const compressionHeading& heading, int64 fileSize) noexcept;

/// Adds what a heading read at row-0 position `row0` breaks, in a file of `fileSize` bytes.
/// Returns: whether the table that it names can be looked at.
bool checkHeading(const compressionHeading& heading, int64 row0, int64 fileSize, std::vector<Fault>& faults);

/// Adds what a table's header record breaks under its heading.
/// Returns: whether the records can be looked at.
bool checkTableHeader(const bInfo& header, const compressionHeading& heading, int64 row0, std::vector<Fault>& faults);

/// Adds what a table's header record breaks by itself: the first three of its rules.
void checkHeaderAlone(const bInfo& header, std::vector<Fault>& faults);

/// What an append to a file overwrites: its heading, and every byte from one file position on.
struct AppendExtent {
  int64 filePos = 0;     ///< from where on the file changes
  int64 logicalPos = 0;  ///< the logical position of the first byte written there
  bool reopens = false;  ///< the last block is written anew, with what it held
};

/// Returns: what an append overwrites in a file at row-0 position `row0` whose last block is `last`, or that has
///   none.
AppendExtent overwrittenByAppend(int64 row0, const std::optional<bInfo>& last) noexcept;

/// Returns: whether an append must first see that the last block fills its record: a table that does not start
///   where the blocks end leaves the block's end unproven.
bool needsProofOfLastBlock(int64 blocksEnd, int64 tablePos) noexcept;

}  // namespace datasource::form

#endif
