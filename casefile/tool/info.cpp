#include <bit>
#include <cstddef>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>

#include "escaped.h"
#include "failure.h"
#include "openJournal.h"
#include "options.h"
#include "progress.h"

namespace casefile::program {
namespace {

using Json = nlohmann::ordered_json;

// What info tells, computed once for both forms.
struct Facts {
  const Layout& layout;
  bool openJournal;
  int64 caseBytes() const { return layout.logicalEnd() - layout.place.row0; }
  int64 compressedBytes() const { return layout.blocksEnd() - layout.place.row0 - static_cast<int64>(kHeadingSize); }
  double ratio() const { return static_cast<double>(caseBytes()) / static_cast<double>(compressedBytes()); }
  const char* byteOrder() const {
    return (std::endian::native == std::endian::little) != layout.place.swapped ? "little" : "big";
  }
};

Json blockRow(std::size_t index, const bInfo& record) {
  return {{"index", index},
          {"logicalPosition", record.orginalPos},
          {"logicalSize", record.orginalSize},
          {"filePosition", record.translatePos},
          {"fileSize", record.translateSize}};
}

// Adds the blocks as the last member of an object that was printed up to its end: one by one, because there may
// be millions.
void printBlockRows(const Layout& layout) {
  std::printf(",\n  \"blocks\": [");
  for (std::size_t i = 0; i < layout.records.size(); ++i) {
    std::printf("%s\n    %s", i == 0 ? "" : ",", blockRow(i, layout.records[i]).dump().c_str());
  }
  std::printf("%s]", layout.records.empty() ? "" : "\n  ");
}

Json faultList(const Layout& layout) {
  Json faults = Json::array();
  for (const Fault& fault : layout.faults) {
    faults.push_back({{"block", fault.block ? Json(*fault.block) : Json(nullptr)},
                      {"what", fault.what},
                      {"hindersReading", fault.hindersReading},
                      {"damage", fault.isDamage}});
  }
  return faults;
}

void printJson(const InfoOptions& options, const Facts& facts) {
  const Layout& layout = facts.layout;
  Json json = {{"file", options.file},
               {"fileSize", layout.fileSize},
               {"logicalSize", layout.logicalEnd()},
               {"row0", layout.place.row0},
               {"byteOrder", facts.byteOrder()},
               {"swapped", layout.place.swapped},
               {"caseDataSize", facts.caseBytes()},
               {"compressedSize", facts.compressedBytes()},
               {"ratio", facts.compressedBytes() > 0 ? Json(facts.ratio()) : Json(nullptr)},
               {"blockSize", kBlockSize},
               {"blockCount", layout.records.size()},
               {"tablePosition", layout.heading._infoPos},
               {"tableSize", layout.heading._size},
               {"deadBytes", layout.deadBytes()},
               {"unfinishedAppend", facts.openJournal},
               {"faults", faultList(layout)}};
  const std::string text = json.dump(2, ' ', false, Json::error_handler_t::replace);
  const std::size_t end = text.rfind("\n}");
  std::printf("%s", text.substr(0, end).c_str());
  if (options.blocks) {
    printBlockRows(layout);
  }
  std::printf("%s\n", text.substr(end).c_str());
}

void printRow(const char* name, const std::string& value) { std::printf("%-16s%s\n", name, value.c_str()); }

std::string size(int64 bytes) {
  const std::string exact = std::to_string(bytes) + " bytes";
  return bytes < 1000 ? exact : exact + " (" + readable(bytes) + ")";
}

void printText(const InfoOptions& options, const Facts& facts) {
  const Layout& layout = facts.layout;
  printRow("file", escaped(options.file));
  printRow("file size", size(layout.fileSize));
  printRow("logical size", size(layout.logicalEnd()));
  printRow("row 0", std::to_string(layout.place.row0));
  printRow("byte order", std::string(facts.byteOrder()) + "-endian");
  printRow("case data", size(facts.caseBytes()));
  printRow("compressed", size(facts.compressedBytes()));
  if (facts.compressedBytes() > 0) {
    std::printf("%-16s%.2f\n", "ratio", facts.ratio());
  }
  printRow("blocks", std::to_string(layout.records.size()));
  printRow("position table", size(layout.heading._size) + " at " + std::to_string(layout.heading._infoPos));
  printRow("dead bytes", size(layout.deadBytes()));
  for (const Fault& fault : layout.faults) {
    printRow("fault", (fault.block ? "block " + std::to_string(*fault.block) + ": " : "") + fault.what);
  }
  if (!options.blocks) {
    return;
  }
  std::printf("\n%8s%20s%12s%20s%12s\n", "block", "logical position", "size", "file position", "size");
  for (std::size_t i = 0; i < layout.records.size(); ++i) {
    const bInfo& record = layout.records[i];
    std::printf("%8zu%20lld%12ld%20lld%12ld\n", i, static_cast<long long>(record.orginalPos),
                static_cast<long>(record.orginalSize), static_cast<long long>(record.translatePos),
                static_cast<long>(record.translateSize));
  }
}

}  // namespace

int info(const InfoOptions& options) {
  const bool openJournal = mentionOpenJournal(options.file);
  FileReader source(options.file);
  const Layout layout = readLayout(source, locate(source, options.hint));
  tellLayout(layout, options.file);
  const Facts facts{layout, openJournal};
  if (options.json) {
    printJson(options, facts);
  } else {
    printText(options, facts);
  }
  requirePrinted();
  return layout.isDamaged() ? kFailed : kDone;
}

}  // namespace casefile::program
