#ifndef CASEFILE_JOURNAL_BEFOREAPPEND_H
#define CASEFILE_JOURNAL_BEFOREAPPEND_H

#include <cstddef>
#include <memory>
#include <span>
#include <string>

#include "casefile/randomAccessFile.h"
#include "journalForm.h"

namespace casefile {

/// A data file as it was before the append that a journal belongs to.
class BeforeAppend : public RandomAccessFile {
 public:
  /// Requires: the facts are the journal's.
  BeforeAppend(std::shared_ptr<const RandomAccessFile> current, std::shared_ptr<const RandomAccessFile> journal,
               const JournalFacts& facts);
  std::string name() const override { return current_->name(); }
  std::int64_t size() const override { return facts_.oldLength; }
  std::size_t readAt(std::span<std::byte> buffer, std::int64_t position) const override;
  std::int64_t nextData(std::int64_t position) const override;
  /// Returns: where the case data begin that are appended to.
  int64 row0() const noexcept { return facts_.row0; }

 private:
  std::shared_ptr<const RandomAccessFile> current_;
  std::shared_ptr<const RandomAccessFile> journal_;
  JournalFacts facts_;
};

/// Opens a data file as it was before the unfinished append to it; its journal is that beside its name.
/// Raises: Error when journal or file is not what it should be.
std::shared_ptr<const BeforeAppend> openBeforeAppend(std::shared_ptr<const RandomAccessFile> current);

}  // namespace casefile

#endif
