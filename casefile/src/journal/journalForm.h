#ifndef CASEFILE_JOURNAL_JOURNALFORM_H
#define CASEFILE_JOURNAL_JOURNALFORM_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>

#include "compressedForm.h"
#include "files.h"
#include "randomAccessReader.h"

namespace casefile {

/// Bytes of a data file or a journal.
using FileBytes = datasource::form::RandomAccessReader;

/// The bytes of a journal: what an append overwrites, which is the heading and everything from the first
/// byte that changes to the end of the file.
///
///   0       16      24       32     40     48           56           64       72        96           104    112
///   +-------+-------+--------+------+------+------------+------------+--------+---------+------------+------+------+
///   | magic | state | number | born | row0 | old length | tail start | anchor | heading | tail check | check| tail |
///   +-------+-------+--------+------+------+------------+------------+--------+---------+------------+------+------+
///
/// Numbers are little-endian, 8 bytes wide. The state is 'o' while the append is open; an append that has finished
/// removes its journal or leaves it empty ('f', which earlier versions wrote then, is read). `number` and `born` tell
/// which file it is. The journal lies in that file's folder, so the volume tells nothing; its number may even change
/// when the system starts again. `anchor` is a CRC-32 over bytes in front of heading and tail, which no append touches.
/// `tail check` is a CRC-32 over the tail, whose length is old length - tail start; `check` is one over all that lies
/// before it. Where the tail is a hole of a sparse file the journal has one, too, and neither is written or read.
struct JournalFacts {
  bool finished = false;
  std::uint64_t fileNumber = 0;
  std::uint64_t fileBorn = 0;
  int64 row0 = 0;
  int64 oldLength = 0;
  int64 tailStart = 0;
  std::uint32_t anchor = 0;
  std::array<unsigned char, kHeadingSize> heading{};
  std::uint32_t tailCheck = 0;

  /// Returns: whether it is the journal of that file.
  bool isOf(const files::FileIdentity& file) const noexcept;
};

inline constexpr int64 kJournalTailAt = 112;

/// What a file that has a journal's name turns out to be.
enum class JournalState {
  foreign,  ///< no journal
  damaged,  ///< a journal whose check values do not fit
  sound
};

/// Reads a journal and compares its check values. Returns: the facts are the journal's when it is sound.
JournalState readJournal(FileBytes& journal, JournalFacts& facts);
/// Reads all but the tail. Returns: whether its own check value fits.
bool readJournalHead(FileBytes& journal, JournalFacts& facts);

/// Returns: whether the bytes in front of the tail were not written, or not all of them, as a failure of the machine
/// leaves them.
bool isTornHead(FileBytes& journal);

/// Writes all but the tail.
void writeJournalHead(files::SystemFile& out, const JournalFacts& facts);
/// Writes the journal of a file, whose it is first of all and onto the disk, and the tail's check value into the facts.
/// Returns: false when the file ends before its tail does. Raises: what `eachPiece` does, which is called once a piece.
bool writeJournal(files::SystemFile& out, FileBytes& source, JournalFacts& facts,
                  const std::function<void()>& eachPiece);

/// What an append needs to know of a file: where its case data begin, and its last block.
struct AppendPlace {
  int64 row0 = 0;
  std::optional<bInfo> last;
};

/// Returns: what an append to a file overwrites; none when the file ends before its own length says so.
std::optional<JournalFacts> factsOf(FileBytes& source, const AppendPlace& place, const files::FileIdentity& file);
/// Returns: whether they are what an append to a file overwrites, tail and all.
bool isFactsOf(const JournalFacts& facts, FileBytes& source, const AppendPlace& place);
/// Returns: whether the bytes that no append touches are those of the journal's file.
bool anchorFits(FileBytes& source, const JournalFacts& facts);
/// Returns: whether the file is what taking the append back would make of it.
bool isAsBefore(FileBytes& source, FileBytes& journal, const JournalFacts& facts);

/// What is done with a piece of a file at a position. Returns: whether to go on.
using PieceUse = std::function<bool(const unsigned char* bytes, std::size_t count, int64 position)>;
/// What is done with the zeros between two positions.
using HoleUse = std::function<void(int64 from, int64 to)>;

/// Gives the bytes from `from` to `to` piece by piece, with their positions; of a hole, where `useHole` is given, only
/// the first piece of zeros, and then its ends.
/// Returns: false when the use of a piece does, or the source ends before.
bool forEachPiece(FileBytes& source, int64 from, int64 to, const PieceUse& use, const HoleUse& useHole = {});

}  // namespace casefile

#endif
