#ifndef CASEFILE_CJOURNAL_H
#define CASEFILE_CJOURNAL_H

/// The C interface: appends that have not finished, and the journals that they leave.

#include <stddef.h>  // NOLINT(modernize-deprecated-headers): C
#include <stdint.h>  // NOLINT(modernize-deprecated-headers): C

#include "casefile/cBasics.h"
#include "casefile/export.h"

// NOLINTBEGIN(modernize-use-using, modernize-redundant-void-arg): C has no others.
#ifdef __cplusplus
extern "C" {
#endif

/// What lies beside a file under the name of the journal that an append keeps.
enum {
  CASEFILE_JOURNAL_NONE = 0,         ///< nothing that has something to take back
  CASEFILE_JOURNAL_UNFINISHED = 1,   ///< an append has not finished: the next one takes it back
  CASEFILE_JOURNAL_DAMAGED = 2,      ///< an append has not finished, and its journal cannot be used
  CASEFILE_JOURNAL_OF_ANOTHER = 3,   ///< an append to another file has not finished
  CASEFILE_JOURNAL_NOT_BELIEVED = 4  ///< somebody else could have made it: it counts for nothing
};

/// Whether an append to a data file has not finished, and by which file that can be seen.
typedef struct casefile_unfinished_append {
  int32_t found;       ///< CASEFILE_JOURNAL_...
  int32_t is_open;     ///< whether the file may be in a state that no append leaves
  char journal[1024];  ///< the journal's name. A longer one is cut, as the texts below are.
  char why[512];       ///< why it is not believed; else empty
  char what[1536];     ///< what there is and what can be done about it, in words, one line; empty: nothing
} casefile_unfinished_append;

/// Looks for the journal of an append to a data file that was killed, that failed, or that is at work now.
CASEFILE_API casefile_status casefile_find_unfinished_append(const char* name, casefile_unfinished_append* found,
                                                             size_t size, casefile_error* error);

/// Takes back what an unfinished append has left, as the next casefile_appender_open would: the file has its old bytes
/// and length again, on the disk, and the journal has gone. `took_back` gets 1 when there was something, else 0; it may
/// be NULL.
CASEFILE_API casefile_status casefile_take_back_append(const char* name, int32_t* took_back, casefile_error* error);

/// What became of the journal of a file that was replaced.
enum {
  CASEFILE_REPLACED_NONE = 0,        ///< there was none
  CASEFILE_REPLACED_FINISHED = 1,    ///< removed; it had nothing to take back
  CASEFILE_REPLACED_UNFINISHED = 2,  ///< removed; the append to the file that was replaced had not finished
  CASEFILE_REPLACED_DAMAGED = 3      ///< stays: nobody can tell whose it is
};

/// The journal that a replaced file has left beside its name.
typedef struct casefile_journal_of_replaced {
  int32_t found;        ///< CASEFILE_REPLACED_...
  uint8_t reserved[4];  ///< zeros
  char journal[1024];   ///< the journal's name. A longer one is cut, as the text below is.
  char what[1536];      ///< what a user should hear of it, in words, one line; empty: nothing
} casefile_journal_of_replaced;

/// Removes the journal of a file whose name another one was given: appends to the new file refuse to work beside it. A
/// journal of the file that has the name now stays.
///
/// Requires: the new file has its name by now. Before, the journal is what saves the old one.
CASEFILE_API casefile_status casefile_remove_journal_of_replaced(const char* name,
                                                                 casefile_journal_of_replaced* removed, size_t size,
                                                                 casefile_error* error);

#ifdef __cplusplus
}
#endif
// NOLINTEND(modernize-use-using, modernize-redundant-void-arg)

#endif
