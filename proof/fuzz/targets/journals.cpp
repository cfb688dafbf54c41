// An append that was killed at any call, then journal and file edited as the input says: what becomes of them when
// they are looked at, and when the next append opens the file.

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <span>
#include <stdexcept>
#include <string>

#include "casefile/casefile.h"
#include "damage/damaged.h"
#include "fuzz/input.h"
#include "fuzz/target.h"
#include "fuzz/wholeFiles.h"
#include "support/memoryDisk.h"
#include "support/oracle.h"

namespace proof {
namespace {

const std::string kFile = "/disk/file.case";
const std::string kJournal = kFile + ".journal";
const std::string kOutput = "/disk/other.case";
constexpr std::size_t kMostCalls = 64;

casefile::AppenderOptions appending(const Shape& shape) {
  casefile::AppenderOptions options;
  options.row0 = shape.row0;
  options.threads = 1;
  options.encoder = casefile::Encoder::zlib;
  return options;
}

// What an append leaves whose process ends in front of a call.
Image killedAt(std::size_t call, const WholeFile& whole, const Bytes& more) {
  MemoryDisk disk({{kFile, whole.shape.file}});
  std::size_t calls = 0;
  disk.interfereWith([&](const char* /*name*/, unsigned /*size*/) {
    MemoryDisk::Fate fate;
    fate.error = calls++ >= call ? EIO : 0;
    return fate;
  });
  try {
    casefile::Appender appender = casefile::Appender::open(kFile, appending(whole.shape));
    appender.write(std::as_bytes(std::span(more)));
    appender.finish();
  } catch (const casefile::Error&) {
    return disk.image();
  }
  return disk.image();
}

// What was left of an append, and what the input did to it.
struct Left {
  const WholeFile& whole;
  Bytes more;
  Image image;
  bool journalEdited = false;
  bool fileEdited = false;

  bool isEdited() const { return journalEdited || fileEdited; }
  // Returns: whether the bytes are the file as it was before the append, or as it would be behind it.
  bool isOldOrNew(const Bytes& file) const {
    Bytes all = whole.logical.bytes();
    all.insert(all.end(), more.begin(), more.end());
    if (file == whole.shape.file) {
      return true;
    }
    const Contents contents = readByTheBook(file, whole.shape.row0, kSmallBlock);
    return contents.sound && contents.logical() == all;
  }
};

Left leave(Input& input) {
  const WholeFile& whole = chosenFile(input);
  const std::size_t call = input.below(kMostCalls);
  const std::size_t edits = input.below(4);
  const bool ofTheFile = input.below(4) == 0;
  Left left{whole, input.bytes(1 + input.below(2 * kSmallBlock)), {}};
  left.image = killedAt(call, whole, left.more);
  if (input.below(16) == 0) {
    left.image[kJournal] = input.raw(input.below(300));
    left.journalEdited = true;
  }
  for (std::size_t i = 0; i < edits; ++i) {
    if (ofTheFile) {
      edit(left.image.at(kFile), input);
      left.fileEdited = true;
    } else if (left.image.contains(kJournal)) {
      edit(left.image.at(kJournal), input);
      left.journalEdited = true;
    }
  }
  return left;
}

std::string opens(const Left& left) {
  MemoryDisk disk(left.image);
  try {
    casefile::Appender::open(kFile, appending(left.whole.shape)).cancel();
  } catch (const casefile::Error& error) {
    if (!left.isEdited()) {
      return std::string("refuses what a killed append leaves: ") + error.what();
    }
  }
  const Image after = disk.image();
  if (!left.isEdited()) {
    return after.size() == 1 && left.isOldOrNew(after.at(kFile)) ? "" : "the file is neither the old nor the new one";
  }
  // A journal that counts for nothing leaves the file as it is; an empty one, which says that the append has finished,
  // goes even if the file is refused then.
  return left.fileEdited || after.at(kFile) == left.image.at(kFile) || after.at(kFile) == left.whole.shape.file
             ? ""
             : "an edited journal makes another file";
}

// Those that only look.
std::string looks(const Left& left, std::size_t how) {
  MemoryDisk disk(left.image);
  try {
    if (how == 0) {
      casefile::VerifyOptions options;
      options.row0 = left.whole.shape.row0;
      options.threads = 1;
      if (!casefile::verify(kFile, options).sound() && !left.isEdited()) {
        return "verify calls damaged what a killed append leaves";
      }
    } else if (how == 1) {
      casefile::inspect(kFile);
    } else if (how == 2) {
      casefile::ReaderOptions options;
      options.threads = 1;
      casefile::Reader::open(kFile, options).unfinishedAppend();
    } else {
      casefile::unfinishedAppendOf(kFile);
    }
  } catch (const casefile::Error& error) {
    if (!left.isEdited() && how == 0) {
      return std::string("verify refuses what a killed append leaves: ") + error.what();
    }
  }
  return disk.image() == left.image ? "" : "looking changes something";
}

std::string recovers(const Left& left) {
  MemoryDisk disk(left.image);
  casefile::RecoverOptions options;
  options.row0 = left.whole.shape.row0;
  options.threads = 1;
  try {
    const casefile::Recovery told = casefile::recover(kFile, kOutput, options);
    const Contents contents = readByTheBook(disk.image().at(kOutput), told.row0, kSmallBlock);
    if (!contents.sound) {
      return "recover makes a file that is not sound";
    }
    if (!left.isEdited() && !(told.complete() && left.isOldOrNew(disk.image().at(kOutput))) &&
        contents.logical() != left.whole.logical) {
      return "recover makes something else of what a killed append leaves";
    }
    disk.remove(kOutput);
  } catch (const casefile::Error& error) {
    if (!left.isEdited()) {
      return std::string("recover refuses what a killed append leaves: ") + error.what();
    }
  }
  return disk.image() == left.image ? "" : "recover changes its input, or leaves something behind";
}

}  // namespace

std::string tryInput(Input& input) {
  const std::size_t which = input.below(8);
  const Left left = leave(input);
  std::string wrong;
  if (which < 3) {
    wrong = opens(left);
  } else {
    wrong = which < 7 ? looks(left, which - 3) : recovers(left);
  }
  return wrong.empty() ? "" : left.whole.shape.name + ": " + wrong;
}

}  // namespace proof
