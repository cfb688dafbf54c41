#include <cstddef>
#include <cstdint>

#include "boundary.h"
#include "casefile/cReports.h"
#include "casefile/verify.h"
#include "checkOptions.h"
#include "source.h"
#include "values.h"

struct casefile_verification {
  casefile::Verification found;
};

namespace casefile::c {
namespace {

VerifyOptions optionsOf(const casefile_check_options* given) {
  const casefile_check_options options = known(given, checkDefaults());
  VerifyOptions result;
  result.row0 = row0Of(options.row0);
  result.byteOrder = byteOrderOf(options.byte_order);
  result.threads = options.threads;
  result.progress = progressOf(options.progress, options.progress_user);
  return result;
}

casefile_verification_info infoOf(const Verification& found) noexcept {
  casefile_verification_info info{};
  info.row0 = found.row0;
  info.case_bytes = found.caseBytes;
  info.dead_bytes = found.deadBytes;
  info.blocks = found.blocks;
  info.damaged_blocks = found.damagedBlocks;
  info.faults = found.faults.size();
  info.lost = found.lost.size();
  info.unlisted_lost = found.unlistedLost;
  info.swapped = found.swapped ? 1 : 0;
  info.sound = found.sound() ? 1 : 0;
  info.journal = static_cast<std::int32_t>(found.unfinishedAppend.found);
  info.as_before_append = found.asBeforeAppend ? 1 : 0;
  return info;
}

}  // namespace

casefile_check_options checkDefaults() noexcept {
  casefile_check_options options{};
  options.row0 = kNone;
  return options;
}

}  // namespace casefile::c

using namespace casefile::c;

void casefile_check_options_init(casefile_check_options* options, size_t size) {
  handOutDefaults(checkDefaults(), options, size);
}

casefile_status casefile_verify(const char* name, const casefile_check_options* options,
                                casefile_verification** verification, casefile_error* error) {
  return making(verification, error, [&] { return casefile::verify(&required(name), optionsOf(options)); });
}

casefile_status casefile_verify_source(const casefile_source* source, const casefile_check_options* options,
                                       casefile_verification** verification, casefile_error* error) {
  return making(verification, error, [&] { return casefile::verify(required(source).file, optionsOf(options)); });
}

casefile_status casefile_verification_get_info(const casefile_verification* verification,
                                               casefile_verification_info* info, size_t size, casefile_error* error) {
  return guarded(error, [&] { handOut(infoOf(required(verification).found), info, size); });
}

casefile_status casefile_verification_get_fault(const casefile_verification* verification, size_t index,
                                                casefile_fault* fault, size_t size, casefile_error* error) {
  return guarded(error, [&] { handOut(toC(elementOf(required(verification).found.faults, index)), fault, size); });
}

casefile_status casefile_verification_get_lost(const casefile_verification* verification, size_t index,
                                               casefile_range* lost, casefile_error* error) {
  return guarded(error, [&] { required(lost) = toC(elementOf(required(verification).found.lost, index)); });
}

void casefile_verification_free(casefile_verification* verification) { delete verification; }
