#include "casefile/inspect.h"

#include <utility>

#include "check/layout.h"
#include "journal/unfinishedAppend.h"
#include "locate.h"
#include "progressReport.h"
#include "sourceReader.h"

namespace casefile {
namespace {

constexpr std::endian kOtherOrder = std::endian::native == std::endian::little ? std::endian::big : std::endian::little;

std::vector<Block> blocksOf(const Layout& layout) {
  std::vector<Block> blocks;
  blocks.reserve(layout.records.size());
  for (const bInfo& record : layout.records) {
    blocks.push_back({{record.orginalPos, record.orginalSize}, record.translatePos, record.translateSize});
  }
  return blocks;
}

static_assert(kHeadingSize == 24, "Inspection::blocksStart()");

}  // namespace

Inspection inspect(std::shared_ptr<const RandomAccessFile> file, const InspectOptions& options) {
  SourceReader source(std::move(file));
  ProgressReport report(options.progress, source.name(), "inspect");
  Layout layout = readLayout(source, locate(source, options.row0, options.byteOrder, report), report);
  Inspection told;
  told.fileSize = layout.fileSize;
  told.row0 = layout.place.row0;
  told.swapped = layout.place.swapped;
  told.byteOrder = layout.place.swapped ? kOtherOrder : std::endian::native;
  told.headingRow0 = layout.heading._caseStartPos;
  told.tablePosition = layout.heading._infoPos;
  told.tableSize = layout.heading._size;
  told.logicalSize = layout.logicalEnd();
  told.blocksEnd = layout.blocksEnd();
  told.deadBytes = layout.fileSize - layout.tableEnd();
  told.blocks = blocksOf(layout);
  told.unreadBlocks = layout.unreadRecords;
  told.faults = std::move(layout.faults);
  return told;
}

Inspection inspect(const std::string& name, const InspectOptions& options) {
  JudgedFile judged = openAsAppendFinds(name);
  Inspection told = inspect(std::move(judged.bytes), options);
  told.unfinishedAppend = std::move(judged.append);
  return told;
}

}  // namespace casefile
