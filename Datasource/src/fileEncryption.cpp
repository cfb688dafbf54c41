#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "Datasource/file.h"
#include "Datasource/platform/cRuntime.h"
#include "Datasource/platform/cipher.h"
#include "arithmetic.h"
#include "cipherBlock.h"
#include "invariants.h"

// The enciphered side of the raw file. On disk lies nothing but the cipher library's output, in the order
// produced. The plain bytes that do not fill a block yet are carried:
//
//   plain bytes accepted  |<------------- whole blocks ------------->|<- carried ->|
//   position                                                         ^             ^ fPosition
//                                                       fCipherEnd.place           (end of the last write)
//
// 0 <= fCarryCount < 16: the tail of the last write, except that a write which exactly fills the joining
// block leaves the count before it.

namespace {

using datasource::platform::cRuntime;
namespace cipher = datasource::cipher;

/// A buffer of the cipher library, given back when it goes.
class CipherOutput {
 public:
  CipherOutput() = default;
  CipherOutput(const CipherOutput&) = delete;
  CipherOutput& operator=(const CipherOutput&) = delete;
  ~CipherOutput() {
    if (bytes != nullptr) {
      cipher::FreeOutData(bytes);
    }
  }
  void keepFromBeingFreed() noexcept { bytes = nullptr; }

  unsigned char* bytes = nullptr;
  std::int32_t length = 0;
};

// The largest write whose parts the cipher's 32-bit lengths can name.
constexpr std::size_t kLargestWrite = INT32_MAX - CIPHER_BLOCK_SIZE;

}  // namespace

void VORN_File::SeekToCipherEnd() {
  if (fStands != fCipherEnd.place) {
    SeekTo(Side::writing, fCipherEnd.place);
  }
}

std::int32_t VORN_File::WriteCipherOutput(const unsigned char* output, std::int32_t length) {
  std::int32_t done = 0;
  while (done < length) {
    errno = 0;
    const int count = cRuntime()._write(fHandle, output + done, low32Unsigned(length - done));
    if (count <= 0) {
      Fail(Side::writing, count == 0 ? ENOSPC : errno);
    }
    done += count;
  }
  return done;
}

std::int32_t VORN_File::EncipherAndWrite(const unsigned char* bytes, std::int32_t size, bool giveBack) {
  CipherOutput output;
  errno = 0;
  if (cipher::Encrypt(&output.bytes, &output.length, bytes, size) != 1) {
    Fail(Side::writing, errno);
  }
  fEncryptStarted = true;
  const std::int32_t written = output.length > 0 ? WriteCipherOutput(output.bytes, output.length) : 0;
  if (!giveBack) {
    output.keepFromBeingFreed();
  }
  return written;
}

void VORN_File::AcceptEnciphered(int64 plainEnd, int64 cipherEnd) noexcept {
  fPosition = plainEnd;
  fStands = cipherEnd;
  fCipherEnd = {cipherEnd, true};
}

std::size_t VORN_File::WriteEnciphered(const void* buffer, std::size_t size, int64 position) {
  if (size > kLargestWrite) {
    Fail(Side::writing, EINVAL);
  }
  int64 cipherPosition = position;
  if (position == fPosition && fCipherEnd.continued) {
    SeekToCipherEnd();
    cipherPosition = fCipherEnd.place;
  } else {
    SeekTo(Side::writing, position);
  }
  // Until the write is complete a failure leaves the descriptor where a repeated write must not start.
  fStands = kUnknown;

  const auto* bytes = static_cast<const unsigned char*>(buffer);
  auto rest = static_cast<std::int32_t>(size);
  std::int32_t lastWritten = 0;
  if (fCarryCount != 0) {
    const std::int32_t room = CIPHER_BLOCK_SIZE - fCarryCount;
    if (rest < room) {
      // Kept as is: the new bytes overwrite the carried ones instead of following them.
      std::copy_n(bytes, size, fCarry);
      AcceptEnciphered(position, cipherPosition);
      return size;
    }
    // Kept as is: the new bytes land at the joining block's start, over the carried ones.
    unsigned char joining[CIPHER_BLOCK_SIZE] = {};
    std::copy_n(fCarry, fCarryCount, joining);
    std::copy_n(bytes, room, joining);
    // Kept as is: this one output is not given back to the cipher library.
    lastWritten = EncipherAndWrite(joining, CIPHER_BLOCK_SIZE, false);
    cipherPosition = positionPlus(cipherPosition, lastWritten);
    bytes += room;
    rest -= room;
    if (rest == 0) {
      AcceptEnciphered(positionPlus(position, size), cipherPosition);
      return size;
    }
  }
  const std::int32_t tail = rest % CIPHER_BLOCK_SIZE;
  const std::int32_t body = rest - tail;
  if (body > 0) {
    lastWritten = EncipherAndWrite(bytes, body, true);
    cipherPosition = positionPlus(cipherPosition, lastWritten);
  }
  std::copy_n(bytes + body, tail, fCarry);
  fCarryCount = tail;
  AcceptEnciphered(positionPlus(position, size), cipherPosition);
  // Kept as is: a count of enciphered bytes, not of the bytes accepted.
  return static_cast<std::size_t>(lastWritten);
}

std::size_t VORN_File::DecipherInPlace(void* buffer, std::size_t rawCount, int64 position) {
  // Kept as is: Size puts the descriptor back to the position remembered before this read.
  errno = 0;
  const int64 fileSize = Size();
  if (fileSize < 0) {
    Fail(Side::reading, errno);  // where the data end cannot be told, so the filler would be delivered with them
  }
  std::size_t count = rawCount;
  if (rawCount != 0) {
    auto* const bytes = static_cast<unsigned char*>(buffer);
    CipherOutput output;
    errno = 0;
    if (cipher::Decrypt(&output.bytes, &output.length, bytes, low32Signed(rawCount)) != 1) {
      Fail(Side::reading, errno);
    }
    const auto produced = static_cast<std::size_t>(std::max(output.length, 0));
    // Kept as is: the file's size is compared as a signed 32-bit number.
    if (positionPlus(position, rawCount) == low32Signed(fileSize)) {
      const auto padding = static_cast<std::size_t>(fPadCount);
      count = std::min(produced > padding ? produced - padding : 0, rawCount);
    }
    std::copy_n(output.bytes, std::min(produced, count), bytes);
  }
  fCipherEnd.continued = false;
  return count;
}

std::int32_t VORN_File::EndRunningEncryption() {
  CipherOutput output;
  errno = 0;
  if (cipher::EndEncrypt(&output.bytes, &output.length) != 1) {
    Fail(Side::writing, errno);
  }
  if (output.length <= 0) {
    return 0;
  }
  SeekToCipherEnd();
  fStands = kUnknown;  // in case only a part is written
  const std::int32_t written = WriteCipherOutput(output.bytes, output.length);
  fPosition = positionPlus(fPosition, written);
  fCipherEnd.place = positionPlus(fCipherEnd.place, written);
  fStands = fCipherEnd.place;
  return written;
}

std::int32_t VORN_File::FinishEncryption() {
  const sfGuard guard(fMutex);
  const datasource::InvariantCheck check(*this);
  if (!IsOpen() || !fEncrypted || (!fEncryptStarted && fCarryCount < 1)) {
    return 0;
  }
  if (fStands == kGone) {
    Fail(Side::writing, EBADF);
  }
  std::int32_t result = 0;
  if (fCarryCount > 0) {
    SeekToCipherEnd();
    fPadCount = CIPHER_BLOCK_SIZE - fCarryCount;
    CipherOutput output;
    // Kept as is: neither the cipher's result nor the write's is examined.
    if (cipher::Encrypt(&output.bytes, &output.length, fCarry, CIPHER_BLOCK_SIZE) == 1) {
      fEncryptStarted = true;
    }
    if (output.length > 0) {
      result = cRuntime()._write(fHandle, output.bytes, low32Unsigned(output.length));
      fCipherEnd.place = positionPlus(fCipherEnd.place, std::max(result, 0));
      fStands = fCipherEnd.place;
    }
    fCarryCount = 0;
  }
  const std::int32_t written = EndRunningEncryption();
  fEncryptStarted = false;
  return written > 0 ? written : result;
}
