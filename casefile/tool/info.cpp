#include <array>
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
  bool openJournal;
  int64 caseBytes() const { return told.logicalSize - told.row0; }
  int64 compressedBytes() const { return told.blocksEnd - told.blocksStart(); }
  double ratio() const { return static_cast<double>(caseBytes()) / static_cast<double>(compressedBytes()); }
  const char* byteOrder() const { return told.byteOrder == std::endian::little ? "little" : "big"; }
};

Json blockRow(std::size_t index, const Block& block) {
  return {{"index", index},
          {"logicalPosition", block.range.start},
          {"logicalSize", block.range.size},
          {"filePosition", block.filePosition},
          {"fileSize", block.compressedSize}};
}

// Adds the blocks as the last member of an object that was printed up to its end: one by one, because there may
// be millions.
void printBlockRows(const Inspection& told) {
  std::printf(",\n  \"blocks\": [");
  for (std::size_t i = 0; i < told.blocks.size(); ++i) {
    std::printf("%s\n    %s", i == 0 ? "" : ",", blockRow(i, told.blocks[i]).dump().c_str());
  }
  std::printf("%s]", told.blocks.empty() ? "" : "\n  ");
}

Json faultList(const Inspection& told) {
  Json faults = Json::array();
  for (const Fault& fault : told.faults) {
    faults.push_back({{"block", fault.block ? Json(*fault.block) : Json(nullptr)},
                      {"what", fault.what},
                      {"hindersReading", fault.hindersReading},
                      {"damage", fault.isDamage}});
  }
  return faults;
}

// Escapes the control characters that JSON lets stand, U+007F to U+009F: a terminal may obey them. Requires: UTF-8.
std::string withoutControls(const std::string& json) {
  std::string result;
  for (std::size_t i = 0; i < json.size(); ++i) {
    const auto at = [&json](std::size_t place) { return static_cast<unsigned char>(json[place]); };
    const bool isPair = at(i) == 0xC2 && at(i + 1) < 0xA0;
    if (!isPair && at(i) != 0x7F) {
      result += json[i];
      continue;
    }
    i += isPair ? 1 : 0;
    std::array<char, 8> code{};
    std::snprintf(code.data(), code.size(), "\\u%04x", static_cast<unsigned>(at(i)));
    result += code.data();
  }
  return result;
}

void printJson(const std::string& file, const Facts& facts, bool withBlocks) {
  const Inspection& told = facts.told;
  Json json = {{"file", file},
               {"fileSize", told.fileSize},
               {"logicalSize", told.logicalSize},
               {"row0", told.row0},
               {"byteOrder", facts.byteOrder()},
               {"swapped", told.swapped},
               {"caseDataSize", facts.caseBytes()},
               {"compressedSize", facts.compressedBytes()},
               {"ratio", facts.compressedBytes() > 0 ? Json(facts.ratio()) : Json(nullptr)},
               {"blockSize", blockSize()},
               {"blockCount", told.blocks.size()},
               {"tablePosition", told.tablePosition},
               {"tableSize", told.tableSize},
               {"deadBytes", told.deadBytes},
               {"unfinishedAppend", facts.openJournal},
               {"faults", faultList(told)}};
  const std::string text = withoutControls(json.dump(2, ' ', false, Json::error_handler_t::replace));
  const std::size_t end = text.rfind("\n}");
  std::printf("%s", text.substr(0, end).c_str());
  if (withBlocks) {
    printBlockRows(told);
  }
  std::printf("%s\n", text.substr(end).c_str());
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
    const bool openJournal = mentionOpenJournal(file);
    const Inspection told = inspected(file, options_);
    tellPlace(file, told.row0, told.swapped, told.blocks.size());
    const Facts facts{told, openJournal};
    if (options_.json) {
      std::printf("%s", separator(asList_ ? "[\n" : "", ",\n"));
      printJson(file, facts, options_.blocks);
    } else {
      std::printf("%s", separator("", "\n"));
      printText(file, facts, options_.blocks);
    }
    requirePrinted();
    return told.damaged() ? kFailed : kDone;
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
