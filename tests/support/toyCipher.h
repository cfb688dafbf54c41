#ifndef DATASOURCE_TESTS_TOYCIPHER_H
#define DATASOURCE_TESTS_TOYCIPHER_H

#include <cstddef>
#include <string>
#include <vector>

namespace support {

/// Steers the toy that stands in the cipher library's place in the internal tests: each byte has a
/// key added that depends on its place in its 16-byte block, so equal blocks look equal and a block
/// may be deciphered alone. Makes everything new at the start and at the end of its life.
///
/// Outputs that were never given back are freed at the end: one per joining block stays out by design.
///
/// Threads: any.
class ToyCipher {
 public:
  ToyCipher();
  ~ToyCipher();
  ToyCipher(const ToyCipher&) = delete;
  ToyCipher& operator=(const ToyCipher&) = delete;

  /// What the toy makes of `plain` at a block's start.
  static std::string enciphered(const std::string& plain);
  static std::string deciphered(const std::string& secret);

  /// The calls as text: "Encrypt 16", "Decrypt 32", "EndEncrypt", "EndDecrypt", "FreeOutData";
  /// " failed" behind those that were made to fail.
  std::vector<std::string> list() const;
  std::vector<std::string> takeList();
  /// Calls that can fail: all but FreeOutData.
  int calls() const;
  int failuresMade() const;
  /// Outputs that were handed out and not given back.
  int outstanding() const;
  /// Pointers given back that were no output, or were given back twice.
  int strayFrees() const;
  /// The plain bytes that Encrypt was given, call after call.
  std::vector<std::string> inputs() const;

  /// Call `number` from now on (FreeOutData not counted) returns 0 and makes no output.
  void failCall(int number);
  void failFrom(int number);
  void failNone();
  /// Every output of Encrypt and Decrypt is `bytes` longer (or shorter) than its input.
  void changeOutputLength(int bytes);
  /// EndEncrypt hands back these bytes.
  void setEndOutput(const std::string& bytes);

 private:
  void reset();
};

}  // namespace support

#endif
