#include "casefile/writer.h"

#include <algorithm>
#include <cstddef>

#include "boundary.h"
#include "casefile/block.h"
#include "casefile/cWriter.h"
#include "values.h"

struct casefile_writer {
  casefile::Writer writer;
};

namespace casefile::c {
namespace {

static_assert(CASEFILE_AUTOMATIC == static_cast<int>(Encoder::automatic));
static_assert(CASEFILE_ZLIB == static_cast<int>(Encoder::zlib));
static_assert(CASEFILE_LIBDEFLATE == static_cast<int>(Encoder::libdeflate));
static_assert(CASEFILE_ISAL == static_cast<int>(Encoder::isal));
static_assert(CASEFILE_FAST == static_cast<int>(Encoder::fast));

casefile_writer_options defaults() noexcept {
  casefile_writer_options options{};
  options.replace = 1;
  return options;
}

WriterOptions optionsOf(const casefile_writer_options* given) {
  const casefile_writer_options options = known(given, defaults());
  WriterOptions result;
  result.threads = options.threads;
  result.encoder = enumerated(options.encoder, Encoder::fast);
  result.replace = options.replace != 0;
  result.sync = options.sync != 0;
  result.progress = progressOf(options.progress, options.progress_user);
  return result;
}

}  // namespace
}  // namespace casefile::c

using namespace casefile::c;

size_t casefile_block_size(void) { return casefile::blockSize(); }

casefile_status casefile_compress_block(const void* bytes, size_t size, int32_t encoder, void* buffer, size_t room,
                                        size_t* length, casefile_error* error) {
  return guarded(error, [&] {
    const auto to = bytesOf<std::byte>(buffer, room);
    required(length);
    if (room < casefile::blockSize()) {
      refuse("too little room for a compressed block");
    }
    const auto made =
        casefile::compressBlock(bytesOf<const std::byte>(bytes, size), enumerated(encoder, casefile::Encoder::fast));
    std::copy(made.begin(), made.end(), to.begin());
    *length = made.size();
  });
}

void casefile_writer_options_init(casefile_writer_options* options, size_t size) {
  handOutDefaults(defaults(), options, size);
}

casefile_status casefile_writer_create(const char* name, const casefile_writer_options* options,
                                       casefile_writer** writer, casefile_error* error) {
  return making(writer, error, [&] { return casefile::Writer::create(&required(name), optionsOf(options)); });
}

casefile_status casefile_writer_write_dictionary(casefile_writer* writer, const void* bytes, size_t size,
                                                 casefile_error* error) {
  return guarded(error, [&] { required(writer).writer.writeDictionary(bytesOf<const std::byte>(bytes, size)); });
}

casefile_status casefile_writer_write(casefile_writer* writer, const void* bytes, size_t size, casefile_error* error) {
  return guarded(error, [&] { required(writer).writer.write(bytesOf<const std::byte>(bytes, size)); });
}

casefile_status casefile_writer_write_block(casefile_writer* writer, const void* bytes, size_t size,
                                            casefile_error* error) {
  return guarded(error, [&] { required(writer).writer.writeBlock(bytesOf<const std::byte>(bytes, size)); });
}

casefile_status casefile_writer_get_room(casefile_writer* writer, void** room, size_t* size, casefile_error* error) {
  return guarded(error, [&] { handOutRoom(required(writer).writer, room, size); });
}

casefile_status casefile_writer_advance(casefile_writer* writer, size_t count, casefile_error* error) {
  return guarded(error, [&] { required(writer).writer.advance(count); });
}

casefile_status casefile_writer_finish(casefile_writer* writer, casefile_error* error) {
  return guarded(error, [&] { required(writer).writer.finish(); });
}

casefile_status casefile_writer_cancel(casefile_writer* writer, casefile_error* error) {
  return guarded(error, [&] { required(writer).writer.cancel(); });
}

casefile_status casefile_writer_get_position(const casefile_writer* writer, int64_t* position, casefile_error* error) {
  return guarded(error, [&] { required(position) = required(writer).writer.position(); });
}

casefile_status casefile_writer_get_left_behind(const casefile_writer* writer, casefile_error* why,
                                                casefile_error* error) {
  return guarded(error, [&] {
    required(why);
    fillOrClear(*why, required(writer).writer.leftBehind());
  });
}

void casefile_writer_free(casefile_writer* writer) { delete writer; }
