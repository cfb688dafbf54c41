#ifndef CASEFILE_TESTS_CFILES_H
#define CASEFILE_TESTS_CFILES_H

#include <memory>
#include <string>

#include "casefile/c.h"

namespace support {

/// Frees a handle of the C interface with the function that is for it.
struct Free {
  void operator()(casefile_source* handle) const { casefile_source_free(handle); }
  void operator()(casefile_reader* handle) const { casefile_reader_free(handle); }
  void operator()(casefile_lines* handle) const { casefile_lines_free(handle); }
  void operator()(casefile_writer* handle) const { casefile_writer_free(handle); }
  void operator()(casefile_appender* handle) const { casefile_appender_free(handle); }
  void operator()(casefile_inspection* handle) const { casefile_inspection_free(handle); }
  void operator()(casefile_verification* handle) const { casefile_verification_free(handle); }
  void operator()(casefile_recovery* handle) const { casefile_recovery_free(handle); }
};
template <class Handle>
using Held = std::unique_ptr<Handle, Free>;

/// Returns: a source over bytes, which outlive it.
inline Held<casefile_source> sourceOver(const std::string& bytes) {
  casefile_source* source = nullptr;
  casefile_source_from_memory(bytes.data(), bytes.size(), "memory", &source, nullptr);
  return Held<casefile_source>(source);
}

/// Returns: a reader over bytes, which outlive it; null when there is an error, which is told.
inline Held<casefile_reader> readerOver(const std::string& bytes, casefile_error* error = nullptr,
                                        std::size_t threads = 2) {
  casefile_reader_options options;
  casefile_reader_options_init(&options, sizeof options);
  options.threads = threads;
  casefile_reader* reader = nullptr;
  casefile_reader_open_source(sourceOver(bytes).get(), &options, &reader, error);
  return Held<casefile_reader>(reader);
}

}  // namespace support

#endif
