#include "casefile/verify.h"

#include <cstdio>
#include <string>

#include "casefile/error.h"
#include "dataFile.h"
#include "failure.h"
#include "messages.h"
#include "options.h"
#include "progress.h"

namespace casefile::program {
namespace {

Verification verified(const std::string& file, const Options& options) {
  Progress shown;
  VerifyOptions how;
  how.row0 = options.row0;
  how.byteOrder = options.byteOrder();
  how.threads = options.threads;
  how.progress = [&shown](const casefile::Progress& now) { return shown.follow(now); };
  return casefile::verify(file, how);
}

void sayFaultsOfTheFile(const std::string& file, const Verification& told) {
  for (const Fault& fault : told.faults) {
    if (!fault.block && fault.kind == FaultKind::otherData) {
      say(file, fault.what + " (casefile recover --row0 writes either to a file of its own)");
    } else if (!fault.block) {
      say(file, fault.what + (fault.isDamage ? "" : " (which hinders nothing)"));
    }
  }
}

// Says the faults of each block on one line. Returns: of how many blocks.
std::size_t sayFaultsOfBlocks(const std::string& file, const Verification& told) {
  std::size_t blocks = 0;
  for (std::size_t i = 0; i < told.faults.size(); ++i) {
    const Fault& first = told.faults[i];
    if (!first.block) {
      continue;
    }
    std::string what = first.what;
    while (i + 1 < told.faults.size() && told.faults[i + 1].block == first.block) {
      what += "; " + told.faults[++i].what;
    }
    say(file, "block " + std::to_string(*first.block) + " (" + rangeName(first.range.value_or(LogicalRange())) +
                  "): " + what);
    ++blocks;
  }
  return blocks;
}

std::string lostRanges(const Verification& told) {
  std::string list;
  for (const LogicalRange& range : told.lost) {
    list += (list.empty() ? "" : ", ") + rangeName(range);
  }
  return told.unlistedLost == 0 ? list : list + " and " + std::to_string(told.unlistedLost) + " more ranges";
}

// Says every fault, then what is damaged in all.
void sayDamage(const std::string& file, const Verification& told) {
  const std::size_t listed = sayFaultsOfBlocks(file, told);
  if (told.damagedBlocks > listed) {
    say(file, std::to_string(told.damagedBlocks - listed) + " more damaged blocks are not listed");
  }
  say(file, told.lost.empty() ? "damaged" : "damaged: " + lostRanges(told));
}

bool isOnlyNotAll(const Verification& told) {
  return told.damagedBlocks == 0 && !told.faults.empty() && told.faults.back().kind == FaultKind::otherData;
}

std::string sizes(const Verification& told) {
  return std::to_string(told.blocks) + " blocks, " + std::to_string(told.caseBytes) + " bytes of case data, " +
         std::to_string(told.deadBytes) + " dead bytes behind the table";
}

void printSound(const std::string& file, const Verification& told) {
  if (isSaid(Talk::usual)) {
    std::printf("%s: sound: %s\n", printable(file).c_str(), sizes(told).c_str());
    requirePrinted();
  }
}

int verifyOne(const std::string& file, const Options& options) {
  const Verification told = mentioningOpenJournal(file, [&] { return verified(file, options); });
  tellPlace(file, told.row0, told.swapped, told.blocks);
  sayFaultsOfTheFile(file, told);
  if (!told.sound() && !isOnlyNotAll(told)) {
    sayDamage(file, told);
  }
  if (told.asBeforeAppend && told.sound()) {
    const bool isCopy = told.unfinishedAppend.found == JournalFound::ofAnother;
    say(file, std::string("without that append, as ") +
                  (isCopy ? "casefile recover writes it" : "the next one will find it") + ": sound, " + sizes(told));
  }
  if (!told.sound() || told.unfinishedAppend.isOpen()) {
    return kFailed;
  }
  printSound(file, told);
  return kDone;
}

}  // namespace

int verify(const Options& options) {
  return forEachFile(options.files, [&](const std::string& file) { return verifyOne(file, options); });
}

}  // namespace casefile::program
