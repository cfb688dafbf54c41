#include "reader.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "boundary.h"
#include "source.h"
#include "values.h"

namespace casefile::c {
namespace {

static_assert(CASEFILE_OTHER_BYTE_ORDER == static_cast<int>(ByteOrder::other));

casefile_reader_options defaults() noexcept {
  casefile_reader_options options{};
  options.row0 = kNone;
  options.cache_bytes = ReaderOptions{}.cacheBytes;
  return options;
}

ReaderOptions optionsOf(const casefile_reader_options* given) {
  const casefile_reader_options options = known(given, defaults());
  ReaderOptions result;
  result.row0 = row0Of(options.row0);
  result.byteOrder = byteOrderOf(options.byte_order);
  result.threads = options.threads;
  result.cacheBytes = options.cache_bytes;
  result.progress = progressOf(options.progress, options.progress_user);
  return result;
}

casefile_reader_info infoOf(const Reader& reader) {
  casefile_reader_info info{};
  info.row0 = reader.row0();
  info.size = reader.size();
  info.blocks = reader.blockCount();
  info.swapped = reader.swapped() ? 1 : 0;
  info.unfinished = reader.unfinishedAppend() ? 1 : 0;
  return info;
}

Sink sinkOf(casefile_sink sink, void* user) {
  required(sink);
  return [sink, user](std::span<const std::byte> bytes, std::int64_t position) {
    if (sink(user, bytes.data(), bytes.size(), position) != 0) {
      throw Error(ErrorKind::cancelled, "was stopped by a callback", {{}, "read", {}, {}, {}});
    }
  };
}

// What there is of a range from `position` on.
LogicalRange whatThereIs(const Reader& reader, std::int64_t position, std::size_t size) {
  if (position < 0) {
    refuse("a negative position");
  }
  const std::int64_t left = std::max<std::int64_t>(0, reader.size() - position);
  return {position, static_cast<std::int64_t>(std::min<std::uint64_t>(size, static_cast<std::uint64_t>(left)))};
}

void readInto(const Reader& reader, std::span<std::byte> buffer, const LogicalRange& range,
              const ProgressCallback& progress) {
  reader.readUnordered(
      range,
      [&](std::span<const std::byte> bytes, std::int64_t position) {
        std::memcpy(buffer.data() + (position - range.start), bytes.data(), bytes.size());
      },
      progress);
}

}  // namespace
}  // namespace casefile::c

using namespace casefile::c;

void casefile_reader_options_init(casefile_reader_options* options, size_t size) {
  handOutDefaults(defaults(), options, size);
}

casefile_status casefile_reader_open(const char* name, const casefile_reader_options* options, casefile_reader** reader,
                                     casefile_error* error) {
  return making(reader, error, [&] { return casefile::Reader::open(&required(name), optionsOf(options)); });
}

casefile_status casefile_reader_open_source(const casefile_source* source, const casefile_reader_options* options,
                                            casefile_reader** reader, casefile_error* error) {
  return making(reader, error, [&] { return casefile::Reader::open(required(source).file, optionsOf(options)); });
}

void casefile_reader_free(casefile_reader* reader) { delete reader; }

casefile_status casefile_reader_get_info(const casefile_reader* reader, casefile_reader_info* info, size_t size,
                                         casefile_error* error) {
  return guarded(error, [&] { handOut(infoOf(required(reader).reader), info, size); });
}

casefile_status casefile_reader_get_block(const casefile_reader* reader, size_t index, casefile_block* block,
                                          casefile_error* error) {
  return guarded(error, [&] { required(block) = toC(required(reader).reader.block(index)); });
}

casefile_status casefile_reader_get_dictionary(const casefile_reader* reader, void* buffer, size_t size, size_t* length,
                                               casefile_error* error) {
  return guarded(error, [&] {
    const casefile::Reader& from = required(reader).reader;
    const auto all = static_cast<std::size_t>(from.row0());
    required(length);
    from.readAt(bytesOf<std::byte>(buffer, size).first(std::min(size, all)), 0);
    *length = all;
  });
}

casefile_status casefile_reader_read_at(const casefile_reader* reader, void* buffer, size_t size, int64_t position,
                                        size_t* done, casefile_error* error) {
  return guarded(error,
                 [&] { required(done) = required(reader).reader.readAt(bytesOf<std::byte>(buffer, size), position); });
}

casefile_status casefile_reader_read_into(const casefile_reader* reader, void* buffer, size_t size, int64_t position,
                                          size_t* done, casefile_progress_callback progress, void* progress_user,
                                          casefile_error* error) {
  return guarded(error, [&] {
    const casefile::Reader& from = required(reader).reader;
    const casefile::LogicalRange range = whatThereIs(from, position, size);
    required(done);
    readInto(from, bytesOf<std::byte>(buffer, size), range, progressOf(progress, progress_user));
    *done = static_cast<std::size_t>(range.size);
  });
}

casefile_status casefile_reader_read(const casefile_reader* reader, int64_t start, int64_t size, casefile_sink sink,
                                     casefile_progress_callback progress, void* user, casefile_error* error) {
  return guarded(error, [&] {
    required(reader).reader.read({start, size}, sinkOf(sink, user), progressOf(progress, user));
  });
}

casefile_status casefile_reader_read_unordered(const casefile_reader* reader, int64_t start, int64_t size,
                                               casefile_sink sink, casefile_progress_callback progress, void* user,
                                               casefile_error* error) {
  return guarded(error, [&] {
    required(reader).reader.readUnordered({start, size}, sinkOf(sink, user), progressOf(progress, user));
  });
}

casefile_status casefile_reader_get_partitions(const casefile_reader* reader, size_t count, int64_t record_size,
                                               casefile_range* ranges, size_t* found, casefile_error* error) {
  return guarded(error, [&] {
    required(ranges);
    required(found);
    const std::vector<casefile::LogicalRange> parts = required(reader).reader.partitions(count, record_size);
    std::transform(parts.begin(), parts.end(), ranges, [](const casefile::LogicalRange& part) { return toC(part); });
    *found = parts.size();
  });
}
