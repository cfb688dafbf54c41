#include "casefile/unpack.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "atomicFile.h"
#include "casefile/error.h"
#include "progressReport.h"
#include "regularFile.h"
#include "sameFile.h"

namespace casefile {
namespace {

// Nothing for what is no file of the system.
std::optional<files::FileStatus> statusOf(const RandomAccessFile& source) {
  const auto* const file = dynamic_cast<const RegularFile*>(&source);
  return file == nullptr ? std::nullopt : std::optional(file->status());
}

void writeContents(const Reader& reader, AtomicFile& output, const ProgressCallback& progress) {
  const std::int64_t size = reader.size();
  const auto put = [&output](std::span<const std::byte> bytes, std::int64_t position) {
    output.writeAt(bytes.data(), bytes.size(), position);
  };
  reader.readUnordered({0, size}, put, ProgressReport::sharing(progress));
  ProgressReport report(ProgressReport::sharing(progress), output.name(), "unpack");
  report.begin(Phase::finishing, size);
  report.advance(size);
}

}  // namespace

void unpack(const Reader& reader, const std::string& output, const UnpackOptions& options) {
  const auto source = statusOf(*reader.file());
  if (source) {
    requireNoInput(output, isSameFile(source->identity, output));
  }
  AtomicFile file(output, AtomicFile::Rules{options.replace, options.sync});
  if (source && options.preserve) {
    file.limitRightsTo(*source);
    file.takeTimesOf(*source);
  }
  file.make([&] { writeContents(reader, file, options.progress); });
}

}  // namespace casefile
