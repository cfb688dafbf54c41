#include <cstddef>
#include <cstdint>

#include "boundary.h"
#include "casefile/cJournal.h"
#include "casefile/unfinishedAppend.h"

namespace casefile::c {
namespace {

static_assert(CASEFILE_JOURNAL_NONE == static_cast<int>(JournalFound::none));
static_assert(CASEFILE_JOURNAL_UNFINISHED == static_cast<int>(JournalFound::unfinished));
static_assert(CASEFILE_JOURNAL_DAMAGED == static_cast<int>(JournalFound::damaged));
static_assert(CASEFILE_JOURNAL_OF_ANOTHER == static_cast<int>(JournalFound::ofAnother));
static_assert(CASEFILE_JOURNAL_NOT_BELIEVED == static_cast<int>(JournalFound::notBelieved));
static_assert(CASEFILE_REPLACED_NONE == static_cast<int>(ReplacedJournal::none));
static_assert(CASEFILE_REPLACED_FINISHED == static_cast<int>(ReplacedJournal::finished));
static_assert(CASEFILE_REPLACED_UNFINISHED == static_cast<int>(ReplacedJournal::unfinished));
static_assert(CASEFILE_REPLACED_DAMAGED == static_cast<int>(ReplacedJournal::damaged));

casefile_unfinished_append toC(const UnfinishedAppend& found) noexcept {
  casefile_unfinished_append result{};
  result.found = static_cast<std::int32_t>(found.found);
  result.is_open = found.isOpen() ? 1 : 0;
  copyText(found.journal, result.journal);
  copyText(found.why, result.why);
  copyText(found.what, result.what);
  return result;
}

casefile_journal_of_replaced toC(const JournalOfReplaced& removed) noexcept {
  casefile_journal_of_replaced result{};
  result.found = static_cast<std::int32_t>(removed.found);
  copyText(removed.journal, result.journal);
  copyText(removed.what, result.what);
  return result;
}

}  // namespace
}  // namespace casefile::c

using namespace casefile::c;

casefile_status casefile_find_unfinished_append(const char* name, casefile_unfinished_append* found, size_t size,
                                                casefile_error* error) {
  return guarded(error, [&] {
    required(found);
    handOut(toC(casefile::unfinishedAppendOf(&required(name))), found, size);
  });
}

casefile_status casefile_take_back_append(const char* name, int32_t* took_back, casefile_error* error) {
  return guarded(error, [&] {
    const bool something = casefile::takeBackAppend(&required(name));
    if (took_back != nullptr) {
      *took_back = something ? 1 : 0;
    }
  });
}

casefile_status casefile_remove_journal_of_replaced(const char* name, casefile_journal_of_replaced* removed,
                                                    size_t size, casefile_error* error) {
  return guarded(error, [&] {
    required(removed);
    handOut(toC(casefile::removeJournalOfReplaced(&required(name))), removed, size);
  });
}
