#include "casefile/appender.h"

#include <cstddef>

#include "boundary.h"
#include "casefile/cWriter.h"
#include "values.h"

struct casefile_appender {
  casefile::Appender appender;
};

namespace casefile::c {
namespace {

casefile_appender_options defaults() noexcept {
  casefile_appender_options options{};
  options.row0 = kNone;
  return options;
}

AppenderOptions optionsOf(const casefile_appender_options* given) {
  const casefile_appender_options options = known(given, defaults());
  AppenderOptions result;
  result.row0 = row0Of(options.row0);
  result.byteOrder = byteOrderOf(options.byte_order);
  result.threads = options.threads;
  result.encoder = enumerated(options.encoder, Encoder::fast);
  result.progress = progressOf(options.progress, options.progress_user);
  return result;
}

casefile_appender_info infoOf(const Appender& appender) {
  casefile_appender_info info{};
  info.row0 = appender.row0();
  info.position = appender.position();
  info.took_back = appender.tookBack() ? 1 : 0;
  return info;
}

}  // namespace
}  // namespace casefile::c

using namespace casefile::c;

void casefile_appender_options_init(casefile_appender_options* options, size_t size) {
  handOutDefaults(defaults(), options, size);
}

casefile_status casefile_appender_open(const char* name, const casefile_appender_options* options,
                                       casefile_appender** appender, casefile_error* error) {
  return making(appender, error, [&] { return casefile::Appender::open(&required(name), optionsOf(options)); });
}

casefile_status casefile_appender_get_info(const casefile_appender* appender, casefile_appender_info* info, size_t size,
                                           casefile_error* error) {
  return guarded(error, [&] { handOut(infoOf(required(appender).appender), info, size); });
}

casefile_status casefile_appender_read_at(casefile_appender* appender, void* buffer, size_t size, int64_t position,
                                          size_t* done, casefile_error* error) {
  return guarded(
      error, [&] { required(done) = required(appender).appender.readAt(bytesOf<std::byte>(buffer, size), position); });
}

casefile_status casefile_appender_write(casefile_appender* appender, const void* bytes, size_t size,
                                        casefile_error* error) {
  return guarded(error, [&] { required(appender).appender.write(bytesOf<const std::byte>(bytes, size)); });
}

casefile_status casefile_appender_get_room(casefile_appender* appender, void** room, size_t* size,
                                           casefile_error* error) {
  return guarded(error, [&] { handOutRoom(required(appender).appender, room, size); });
}

casefile_status casefile_appender_advance(casefile_appender* appender, size_t count, casefile_error* error) {
  return guarded(error, [&] { required(appender).appender.advance(count); });
}

casefile_status casefile_appender_finish(casefile_appender* appender, casefile_error* error) {
  return guarded(error, [&] { required(appender).appender.finish(); });
}

casefile_status casefile_appender_cancel(casefile_appender* appender, casefile_error* error) {
  return guarded(error, [&] { required(appender).appender.cancel(); });
}

casefile_status casefile_appender_get_left_behind(const casefile_appender* appender, casefile_error* why,
                                                  casefile_error* error) {
  return guarded(error, [&] {
    required(why);
    fillOrClear(*why, required(appender).appender.leftBehind());
  });
}

void casefile_appender_free(casefile_appender* appender) { delete appender; }
