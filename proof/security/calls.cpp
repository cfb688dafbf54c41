// One call of the casefile library upon a file, with one thread: hostile.py looks what it costs. Ends with 0, or with 1
// and the error.
//
//   proof_calls HOW FILE OUTPUT

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>

#include "casefile/casefile.h"

namespace {

using casefile::Reader;
using Row0 = std::optional<std::int64_t>;

Reader openReader(const std::string& file, Row0 row0) {
  casefile::ReaderOptions options;
  options.row0 = row0;
  options.threads = 1;
  return Reader::open(file, options);
}

void readInOrder(const std::string& file, Row0 row0) {
  const Reader reader = openReader(file, row0);
  reader.read({reader.row0(), reader.size() - reader.row0()}, [](std::span<const std::byte>, std::int64_t) {});
}

void readAtRandom(const std::string& file, Row0 row0) {
  constexpr std::int64_t kReads = 30;
  const Reader reader = openReader(file, row0);
  std::array<std::byte, 1000> bytes{};
  for (std::int64_t i = 0; i < kReads; ++i) {
    const std::int64_t cases = reader.size() - reader.row0();
    reader.readAt(bytes, reader.row0() + cases / kReads * (i * 7 % kReads));
  }
}

void verify(const std::string& file, Row0 row0) {
  casefile::VerifyOptions options;
  options.row0 = row0;
  options.threads = 1;
  casefile::verify(file, options);
}

void recoverTo(const std::string& file, const std::string& output, casefile::RecoverOptions options) {
  options.threads = 1;
  casefile::recover(file, output, options);
}

void append(const std::string& file, Row0 row0) {
  casefile::AppenderOptions options;
  options.row0 = row0;
  options.threads = 1;
  casefile::Appender appender = casefile::Appender::open(file, options);
  const std::string more(700, 'm');
  appender.write(std::as_bytes(std::span(more)));
  appender.finish();
}

void call(const std::string& how, const std::string& file, const std::string& output) {
  using casefile::Holes;
  casefile::RecoverOptions there;
  there.row0 = 0;
  casefile::RecoverOptions beyond;
  beyond.holes = Holes::zero;
  casefile::RecoverOptions skipping;
  skipping.holes = Holes::skip;
  casefile::RecoverOptions partial;
  partial.partial = true;
  casefile::InspectOptions place;
  place.row0 = 0;
  const std::map<std::string, std::function<void()>> calls{
      {"read", [&] { readInOrder(file, {}); }},
      {"read-there", [&] { readInOrder(file, 0); }},
      {"random", [&] { readAtRandom(file, {}); }},
      {"random-there", [&] { readAtRandom(file, 0); }},
      {"inspect", [&] { casefile::inspect(file); }},
      {"inspect-there", [&] { casefile::inspect(file, place); }},
      {"verify", [&] { verify(file, {}); }},
      {"verify-there", [&] { verify(file, 0); }},
      {"recover", [&] { recoverTo(file, output, {}); }},
      {"recover-there", [&] { recoverTo(file, output, there); }},
      {"recover-zero", [&] { recoverTo(file, output, beyond); }},
      {"recover-skip", [&] { recoverTo(file, output, skipping); }},
      {"recover-partial", [&] { recoverTo(file, output, partial); }},
      {"append", [&] { append(file, {}); }},
      {"append-there", [&] { append(file, 0); }},
  };
  calls.at(how)();
}

}  // namespace

int main(int count, char** values) {
  if (count != 4) {
    std::fputs("proof_calls HOW FILE OUTPUT\n", stderr);
    return 3;
  }
  try {
    call(values[1], values[2], values[3]);
    return 0;
  } catch (const casefile::Error& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "no error of the library's: %s\n", error.what());
    return 3;
  }
}
