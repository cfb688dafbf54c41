#include <cstddef>
#include <cstdint>

#include "boundary.h"
#include "casefile/cReports.h"
#include "casefile/recover.h"
#include "source.h"
#include "values.h"

struct casefile_recovery {
  casefile::Recovery found;
};

namespace casefile::c {
namespace {

static_assert(CASEFILE_HOLES_STOP == static_cast<int>(Holes::stop));
static_assert(CASEFILE_HOLES_SKIP == static_cast<int>(Holes::skip));
static_assert(CASEFILE_HOLES_ZERO == static_cast<int>(Holes::zero));

casefile_recover_options defaults() noexcept {
  casefile_recover_options options{};
  options.row0 = kNone;
  options.replace = 1;
  return options;
}

RecoverOptions optionsOf(const casefile_recover_options* given) {
  const casefile_recover_options options = known(given, defaults());
  RecoverOptions result;
  result.row0 = row0Of(options.row0);
  result.holes = enumerated(options.holes, Holes::zero);
  result.partial = options.partial != 0;
  result.threads = options.threads;
  result.replace = options.replace != 0;
  result.sync = options.sync != 0;
  result.progress = progressOf(options.progress, options.progress_user);
  return result;
}

casefile_recovery_info infoOf(const Recovery& found) noexcept {
  casefile_recovery_info info{};
  info.row0 = found.row0;
  info.case_bytes = found.caseBytes;
  info.zero_bytes = found.zeroBytes;
  info.partial_bytes = found.partialBytes;
  info.more_bytes = found.moreBytes;
  info.blocks = found.blocks;
  info.more_blocks = found.moreBlocks;
  info.losses = found.losses.size();
  info.unlisted_losses = found.unlistedLosses;
  info.swapped = found.swapped ? 1 : 0;
  info.complete = found.complete() ? 1 : 0;
  info.journal = static_cast<std::int32_t>(found.unfinishedAppend.found);
  return info;
}

// Its words stay the loss's.
casefile_loss lossOf(const Loss& loss) noexcept {
  return {loss.blocks ? static_cast<std::int64_t>(*loss.blocks) : kNone, toC(loss.range), loss.filePosition,
          loss.why.c_str()};
}

}  // namespace
}  // namespace casefile::c

using namespace casefile::c;

void casefile_recover_options_init(casefile_recover_options* options, size_t size) {
  handOutDefaults(defaults(), options, size);
}

casefile_status casefile_recover(const char* input, const char* output, const casefile_recover_options* options,
                                 casefile_recovery** recovery, casefile_error* error) {
  return making(recovery, error,
                [&] { return casefile::recover(&required(input), &required(output), optionsOf(options)); });
}

casefile_status casefile_recover_source(const casefile_source* input, const char* output,
                                        const casefile_recover_options* options, casefile_recovery** recovery,
                                        casefile_error* error) {
  return making(recovery, error,
                [&] { return casefile::recover(required(input).file, &required(output), optionsOf(options)); });
}

casefile_status casefile_recovery_get_info(const casefile_recovery* recovery, casefile_recovery_info* info, size_t size,
                                           casefile_error* error) {
  return guarded(error, [&] { handOut(infoOf(required(recovery).found), info, size); });
}

casefile_status casefile_recovery_get_loss(const casefile_recovery* recovery, size_t index, casefile_loss* loss,
                                           size_t size, casefile_error* error) {
  return guarded(error, [&] { handOut(lossOf(elementOf(required(recovery).found.losses, index)), loss, size); });
}

void casefile_recovery_free(casefile_recovery* recovery) { delete recovery; }
