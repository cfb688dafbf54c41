#include <bit>
#include <cstddef>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>

#include "casefile/block.h"
#include "casefile/error.h"
#include "casefile/inspect.h"
#include "dataFile.h"
#include "failure.h"
#include "messages.h"
#include "options.h"
#include "progress.h"

namespace casefile::program {
namespace {

using Json = nlohmann::ordered_json;

// What info tells, computed once for both forms.
struct Facts {
  const Inspection& told;
  int64 caseBytes() const { return told.logicalSize - told.row0; }
  int64 compressedBytes() const { return told.blocksEnd - told.blocksStart(); }
  double ratio() const { return static_cast<double>(caseBytes()) / static_cast<double>(compressedBytes()); }
  const char* byteOrder() const { return told.byteOrder == std::endian::little ? "little" : "big"; }
};

// The members of an object, as JSON that is read easily. A container of the JSON library's own would need memory when
// it is destroyed, where nobody can be told that there is none.
class Members {
 public:
  explicit Members(std::size_t columns) : between_(",\n" + std::string(columns, ' ')) {}

  /// Adds what is JSON already.
  void addJson(const char* name, const std::string& value) {
    text_ += (text_.empty() ? between_.substr(1) : between_) + '"' + name + "\": " + value;
  }
  void add(const char* name, const Json& value) {
    // As ASCII: a terminal may obey U+0080 to U+009F, too.
    addJson(name, value.dump(-1, ' ', true, Json::error_handler_t::replace));
  }
  const std::string& text() const noexcept { return text_; }

 private:
  std::string between_;
  std::string text_;
};

// Adds the blocks as the last member of an object that was printed up to its end: one by one, because there may
// be millions.
void printBlockRows(const Inspection& told) {
  std::printf(",\n  \"blocks\": [");
  for (std::size_t i = 0; i < told.blocks.size(); ++i) {
    const Block& block = told.blocks[i];
    std::printf(
        "%s\n    {\"index\":%zu,\"logicalPosition\":%lld,\"logicalSize\":%lld,\"filePosition\":%lld,\"fileSize\":%lld}",
        i == 0 ? "" : ",", i, static_cast<long long>(block.range.start), static_cast<long long>(block.range.size),
        static_cast<long long>(block.filePosition), static_cast<long long>(block.compressedSize));
  }
  std::printf("%s]", told.blocks.empty() ? "" : "\n  ");
}

std::string faultList(const Inspection& told) {
  std::string list;
  for (const Fault& fault : told.faults) {
    Members members(6);
    members.add("block", fault.block ? Json(*fault.block) : Json(nullptr));
    members.add("what", fault.what);
    members.add("hindersReading", fault.hindersReading);
    members.add("damage", fault.isDamage);
    list += (list.empty() ? "\n    {" : ",\n    {") + members.text() + "\n    }";
  }
  return list.empty() ? "[]" : "[" + list + "\n  ]";
}

void printJson(const std::string& file, const Facts& facts, bool withBlocks) {
  const Inspection& told = facts.told;
  Members members(2);
  members.add("file", file);
  members.add("fileSize", told.fileSize);
  members.add("logicalSize", told.logicalSize);
  members.add("row0", told.row0);
  members.add("byteOrder", facts.byteOrder());
  members.add("swapped", told.swapped);
  members.add("caseDataSize", facts.caseBytes());
  members.add("compressedSize", facts.compressedBytes());
  members.add("ratio", facts.compressedBytes() > 0 ? Json(facts.ratio()) : Json(nullptr));
  members.add("blockSize", blockSize());
  members.add("blockCount", told.blocks.size());
  members.add("tablePosition", told.tablePosition);
  members.add("tableSize", told.tableSize);
  members.add("deadBytes", told.deadBytes);
  members.add("unfinishedAppend", told.unfinishedAppend.isOpen());
  members.addJson("faults", faultList(told));
  std::printf("{%s", members.text().c_str());
  if (withBlocks) {
    printBlockRows(told);
  }
  std::printf("\n}\n");
}

void printRow(const char* name, const std::string& value) { std::printf("%-16s%s\n", name, value.c_str()); }

std::string size(int64 bytes) {
  const std::string exact = std::to_string(bytes) + " bytes";
  return bytes < 1000 ? exact : exact + " (" + readable(bytes) + ")";
}

void printText(const std::string& file, const Facts& facts, bool withBlocks) {
  const Inspection& told = facts.told;
  printRow("file", printable(file));
  printRow("file size", size(told.fileSize));
  printRow("logical size", size(told.logicalSize));
  printRow("row 0", std::to_string(told.row0));
  printRow("byte order", std::string(facts.byteOrder()) + "-endian");
  printRow("case data", size(facts.caseBytes()));
  printRow("compressed", size(facts.compressedBytes()));
  if (facts.compressedBytes() > 0) {
    std::printf("%-16s%.2f\n", "ratio", facts.ratio());
    printRow("encoder", "any: the file does not tell which, and who reads it need not care");
  }
  printRow("blocks", std::to_string(told.blocks.size()));
  printRow("position table", size(told.tableSize) + " at " + std::to_string(told.tablePosition));
  printRow("dead bytes", size(told.deadBytes));
  for (const Fault& fault : told.faults) {
    printRow("fault", (fault.block ? "block " + std::to_string(*fault.block) + ": " : "") + fault.what);
  }
  if (!withBlocks) {
    return;
  }
  std::printf("\n%8s%20s%12s%20s%12s\n", "block", "logical position", "size", "file position", "size");
  for (std::size_t i = 0; i < told.blocks.size(); ++i) {
    const Block& block = told.blocks[i];
    std::printf("%8zu%20lld%12lld%20lld%12lld\n", i, static_cast<long long>(block.range.start),
                static_cast<long long>(block.range.size), static_cast<long long>(block.filePosition),
                static_cast<long long>(block.compressedSize));
  }
}

Inspection inspected(const std::string& file, const Options& options) {
  InspectOptions how;
  how.row0 = options.row0;
  how.byteOrder = options.byteOrder();
  how.progress = onlyInterrupted;
  return inspect(file, how);
}

// Prints what several files hold as one text: JSON as a list, else with empty lines between them.
class Printer {
 public:
  explicit Printer(const Options& options) : options_(options), asList_(options.json && options.files.size() > 1) {}

  int print(const std::string& file) {
    const Inspection told = mentioningOpenJournal(file, [&] { return inspected(file, options_); });
    tellPlace(file, told.row0, told.swapped, told.blocks.size());
    const Facts facts{told};
    if (options_.json) {
      std::printf("%s", separator(asList_ ? "[\n" : "", ",\n"));
      printJson(file, facts, options_.blocks);
    } else {
      std::printf("%s", separator("", "\n"));
      printText(file, facts, options_.blocks);
    }
    requirePrinted();
    return told.damaged() || told.unfinishedAppend.isOpen() ? kFailed : kDone;
  }

  void end() {
    if (asList_) {
      std::printf("%s]\n", separator("[", ""));
      requirePrinted();
    }
  }

 private:
  const char* separator(const char* first, const char* later) {
    const char* const chosen = printed_ ? later : first;
    printed_ = true;
    return chosen;
  }

  const Options& options_;
  bool asList_;
  bool printed_ = false;
};

}  // namespace

int info(const Options& options) {
  Printer printer(options);
  const int code = forEachFile(options.files, [&](const std::string& file) { return printer.print(file); });
  printer.end();
  return code;
}

}  // namespace casefile::program
