#include "source.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <system_error>
#include <utility>

#include "boundary.h"
#include "values.h"

namespace casefile::c {
namespace {

/// A file whose bytes a program's callbacks give.
class CallbackFile : public RandomAccessFile {
 public:
  CallbackFile(const casefile_source_callbacks& callbacks, std::string name)
      : callbacks_(callbacks), name_(std::move(name)) {}

  ~CallbackFile() override {
    if (ours_ && callbacks_.release != nullptr) {
      try {
        callbacks_.release(callbacks_.user);
      } catch (...) {
        // Nobody is there to be told.
      }
    }
  }

  /// From now on the program's object is released with this one.
  void own() noexcept { ours_ = true; }

  std::string name() const override { return name_; }

  std::int64_t size() const override {
    std::int64_t length = 0;
    requireDone(callbacks_.length(callbacks_.user, &length), "size");
    return length;
  }

  std::size_t readAt(std::span<std::byte> buffer, std::int64_t position) const override {
    std::size_t done = 0;
    requireDone(callbacks_.read_at(callbacks_.user, buffer.data(), buffer.size(), position, &done), "read");
    if (done > buffer.size()) {
      throw Error(ErrorKind::usage, "more bytes were read than there is room for", {name_, "read", {}, position, {}});
    }
    return done;
  }

 private:
  void requireDone(std::int32_t code, const char* operation) const {
    if (code != 0) {
      const std::error_code reason(code, std::generic_category());
      throw Error(ErrorKind::system, "cannot be read", {name_, operation, reason, {}, {}});
    }
  }

  casefile_source_callbacks callbacks_;
  std::string name_;
  bool ours_ = false;
};

casefile_source_callbacks requireCallbacks(const casefile_source_callbacks* given) {
  const auto callbacks = known(&required(given), casefile_source_callbacks{});
  if (callbacks.length == nullptr || callbacks.read_at == nullptr) {
    refuse("a source without callbacks");
  }
  return callbacks;
}

}  // namespace
}  // namespace casefile::c

using namespace casefile::c;

void casefile_source_callbacks_init(casefile_source_callbacks* callbacks, size_t size) {
  handOutDefaults(casefile_source_callbacks{}, callbacks, size);
}

casefile_status casefile_source_open(const char* name, casefile_source** source, casefile_error* error) {
  return making(source, error, [&] { return casefile::openFile(&required(name)); });
}

casefile_status casefile_source_from_descriptor(int descriptor, const char* name, casefile_source** source,
                                                casefile_error* error) {
  return making(source, error, [&] { return casefile::fileFromDescriptor(descriptor, &required(name)); });
}

casefile_status casefile_source_from_memory(const void* bytes, size_t size, const char* name, casefile_source** source,
                                            casefile_error* error) {
  return making(source, error,
                [&] { return casefile::fileFromMemory(bytesOf<const std::byte>(bytes, size), &required(name)); });
}

casefile_status casefile_source_from_callbacks(const casefile_source_callbacks* callbacks, const char* name,
                                               casefile_source** source, casefile_error* error) {
  std::shared_ptr<CallbackFile> file;
  const casefile_status status = making(source, error, [&] {
    file = std::make_shared<CallbackFile>(requireCallbacks(callbacks), &required(name));
    return file;
  });
  if (status == CASEFILE_OK) {
    file->own();
  }
  return status;
}

void casefile_source_free(casefile_source* source) { delete source; }
