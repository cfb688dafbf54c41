#ifndef CASEFILE_FAULT_H
#define CASEFILE_FAULT_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "casefile/range.h"

namespace casefile {

/// What can be wrong with a compressed data file.
enum class FaultKind {
  headingCut,           ///< the file ends inside the heading
  headingPlace,         ///< the heading names another row-0 position than its own
  tableLength,          ///< the heading gives the table a length that no table has
  tablePlace,           ///< the table does not lie in the file
  tableTooLong,         ///< the table is longer than a table can be
  tableUnreadable,      ///< the table cannot be read to its end
  tableMark,            ///< the table does not begin as a table does
  tableBlockSize,       ///< the table gives another block size than the form has
  tableCount,           ///< the table's count of blocks and its length, or the file's, do not agree
  tableHeaderPosition,  ///< the table's header record has a file position
  tableNotAtBlocksEnd,  ///< the table does not lie where the blocks end
  hiddenBlock,          ///< a block lies between the last one recorded and the table
  tooManyBreaks,        ///< so many records are wrong that the rest of the table was not read
  recordImpossible,     ///< a block's recorded sizes or positions cannot be
  logicalPosition,      ///< a block's logical range does not join its neighbour's
  blockPosition,        ///< a block's bytes in the file do not join its neighbour's
  shortBlock,           ///< a block that is not the last holds less than a whole one
  streamDamaged,        ///< a block's zlib stream is damaged, or its check value is wrong
  streamCut,            ///< a block's zlib stream does not end where it must
  streamTooLong,        ///< a block's zlib stream holds more than a block
  streamSize,           ///< a block's zlib stream has another length than recorded
  plainSize,            ///< another count of bytes than recorded comes out of a block
  otherData,            ///< behind the table lie case data of another row-0 position
  unlisted              ///< there are more faults than are listed
};

/// One thing that is wrong with a file, and where.
struct Fault {
  FaultKind kind = FaultKind::unlisted;      ///< which rule is broken
  std::optional<std::size_t> block;          ///< the block that it makes doubtful; none: it is the file
  std::optional<std::int64_t> filePosition;  ///< of heading, table or block; none: it cannot be told
  std::optional<LogicalRange> range;         ///< that block's bytes, as it and its neighbours tell it
  std::string what;                          ///< in words, one line: "its record gives impossible sizes"
  bool hindersReading = true;                ///< false: the data can be read all the same
  bool isDamage = true;                      ///< false: it only deserves a word
};

}  // namespace casefile

#endif
