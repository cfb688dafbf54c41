#ifndef PROOF_USES_H
#define PROOF_USES_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Datasource/zcmpsFilestr.h"
#include "faults/scenarios.h"
#include "support/memoryDisk.h"

// What the scenarios are put together from.

namespace proof {

inline const std::string kFile = "/disk/file.case";
inline const std::string kDictionary = "name,age,city\n";
inline const auto kRow0 = static_cast<std::int64_t>(kDictionary.size());
inline constexpr std::size_t kBlock = 4096;
inline constexpr std::size_t kBytes = 2 * kBlock + 700;
inline constexpr std::size_t kMore = kBlock + 300;
inline constexpr std::size_t kPiece = 1500;

/// How the use of a stream ends.
enum class End { close, destroy, unwind, giveUp };
const char* nameOf(End end);

/// What an exception is that passes a stream on its way out.
struct Unwinding {};

/// Returns: `count` bytes of case data, those behind `from`.
Bytes caseData(std::size_t count, std::size_t from = 0);
/// Returns: a disk with one sound file, kFile, of kBytes.
Image sound();
/// Returns: dictionary part and so much case data.
Bytes logical(std::size_t cases);

/// Returns: success if all went well, and no assertion or lost error was told since useStream began.
Told told(bool well);
/// Returns: whether one was told since then.
bool anythingReported();

/// Returns: what is wrong with a file of which success was told.
std::string holds(const Image& image, const std::string& name, std::size_t cases);
/// Returns: what is wrong where nothing should have changed.
std::string unchanged(const Image& image, const Image& before);

/// Raises: Wrong, though there be no memory for the libraries.
[[noreturn]] void tellWrong(const char* what, std::size_t at);
/// Raises: Wrong unless the bytes are those expected at `at`.
void requireRight(const unsigned char* bytes, std::size_t count, std::size_t at, const Bytes& expected);

/// Ends a compressed stream in one of its ways. Returns: what was told.
Told finish(zcmpsFilestr& stream, End end);
/// Runs the use of a stream whose destructor may tell something too. Returns: what was told.
Told useStream(const std::function<Told()>& use);

/// Lets every assertion throw AssertionThrown while it lives.
class ThrowingHandler {
 public:
  ThrowingHandler() noexcept;
  ~ThrowingHandler();
  ThrowingHandler(const ThrowingHandler&) = delete;
  ThrowingHandler& operator=(const ThrowingHandler&) = delete;
};

}  // namespace proof

#endif
