#include "Datasource/file.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <utility>

#include "Datasource/platform/assertion.h"
#include "Datasource/platform/cRuntime.h"
#include "Datasource/platform/throwError.h"
#include "arithmetic.h"
#include "cipherBlock.h"
#include "invariants.h"

// The plain side of the raw file, and the points at which the enciphered side (fileEncryption.cpp)
// branches off.

template class DATASOURCE_TEMPLATE_DEFINITION RefCountPtr<VORN_File>;

namespace {

using datasource::platform::cRuntime;

constexpr const wchar_t* kSource = L"Datasource/src/file";

std::atomic<bool> keepEncrypt = false;

unsigned char* newCarry() {
  auto* const carry = static_cast<unsigned char*>(std::calloc(1, CIPHER_BLOCK_SIZE));
  if (carry == nullptr) {
    throw std::bad_alloc();
  }
  return carry;
}

bool contains(const std::string& mode, char letter) noexcept { return mode.find(letter) != std::string::npos; }

int accessFlags(const std::string& mode) noexcept {
  if (contains(mode, '+')) {
    if (contains(mode, 'w')) {
      return _O_RDWR | _O_CREAT | _O_TRUNC;
    }
    return contains(mode, 'a') ? _O_RDWR | _O_APPEND | _O_CREAT : _O_RDWR;
  }
  if (contains(mode, 'r')) {
    return _O_RDONLY;
  }
  if (contains(mode, 'w')) {
    return _O_WRONLY | _O_CREAT | _O_TRUNC;
  }
  return contains(mode, 'a') ? _O_WRONLY | _O_APPEND | _O_CREAT : _O_RDONLY;
}

int openFlags(const std::string& mode) noexcept {
  return accessFlags(mode) | (contains(mode, 't') ? _O_TEXT : _O_BINARY) | _O_RANDOM |
         (contains(mode, 'T') ? _O_SHORT_LIVED : 0) | (contains(mode, 'D') ? _O_TEMPORARY : 0);
}

}  // namespace

void SetKeepEncrypt(bool keep) { keepEncrypt = keep; }

VORN_File::VORN_File() : VORN_File(false) {}

VORN_File::VORN_File(bool encrypt) : fEncrypted(encrypt && keepEncrypt), fCarry(newCarry()) {}

VORN_File::VORN_File(const VORN_File& other) : VORN_RefCntObject(other), fCarry(newCarry()) {
  try {
    DATASOURCE_ASSERT(0, "0 && \"can't copy an VORN_File\"", kSource);
  } catch (...) {
    std::free(fCarry);
    throw;
  }
}

VORN_File::~VORN_File() {
  std::free(fCarry);
  if (fStands == kGone) {
    return;  // closing failed before, and was reported
  }
  try {
    Close();
  } catch (...) {
    datasource::platform::reportLostError("closing a file that nobody holds any more", std::current_exception());
    if (fStands != kGone) {
      cRuntime()._close(fHandle);  // ending the encryption failed; the descriptor must not stay behind
    }
  }
}

bool VORN_File::KeepsInvariants() const noexcept {
  const bool opened = fHandle >= 0;
  const bool plain = !fEncrypted && !fEncryptStarted && fCarryCount == 0;
  return (opened || fHandle == -1) && (opened || fStands != kGone) && (fEncrypted || plain) && fCarryCount >= 0 &&
         fCarryCount < CIPHER_BLOCK_SIZE && fPadCount >= 0 && fPadCount < CIPHER_BLOCK_SIZE &&
         (!opened || fEncrypted || fStands == fPosition || fStands == kUnknown || fStands == kGone);
}

bool VORN_File::Open(const ExtNameStr& name, const char* mode) {
  fNoted = {};
  return OpenAnew(name, mode);
}

bool VORN_File::OpenAnew(const ExtNameStr& name, const char* mode) {
  const datasource::InvariantCheck check(*this);
  // Copied first: the arguments may be this object's own.
  ExtNameStr newName(name);
  std::string newMode(mode != nullptr ? mode : "");
  ForgetLostDescriptor();
  Close();
  fName = std::move(newName);
  fHandle = fName.Sopen(openFlags(newMode), _SH_DENYWR, _S_IREAD | _S_IWRITE);
  if (IsOpen()) {
    StandAt(contains(newMode, 'a') ? cRuntime()._lseeki64(fHandle, 0, SEEK_END) : 0);
  }
  fGood = IsOpen();
  fEof = false;
  fMode = std::move(newMode);
  return IsOpen();
}

void VORN_File::ForgetLostDescriptor() noexcept {
  if (fStands == kGone) {
    fHandle = -1;
    fStands = kUnknown;
  }
}

/// Takes what a fresh descriptor said about its position; without one it is of no use.
void VORN_File::StandAt(int64 position) noexcept {
  if (position == -1) {
    const int systemError = errno;
    cRuntime()._close(fHandle);
    fHandle = -1;
    errno = systemError;
    return;
  }
  fPosition = position;
  fStands = position;
  fCipherEnd = {position, true};
}

bool VORN_File::Reopen(const ExtNameStr& name, const char* mode) {
  const sfGuard guard(fMutex);
  // What a close has lost was noted before it, if it was.
  if (IsOpen() && fStands != kGone && !NoteIdentity().identity) {
    fGood = false;
    return false;
  }
  return OpenAnew(name, mode) && StaysOpenAs(fNoted);
}

VORN_File::NotedFile VORN_File::NoteIdentity() {
  const sfGuard guard(fMutex);
  datasource::platform::FileIdentity identity;
  fNoted = {true, std::nullopt};
  if (IsOpen() && fStands != kGone && cRuntime()._identity(fHandle, &identity) == 0) {
    fNoted.identity = identity;
  }
  return fNoted;
}

bool VORN_File::StaysOpenAs(const NotedFile& noted) {
  const sfGuard guard(fMutex);
  fNoted = noted;
  if (!IsOpen() || !fNoted.wanted) {
    return IsOpen();
  }
  datasource::platform::FileIdentity identity;
  const bool told = cRuntime()._identity(fHandle, &identity) == 0;
  if (told && identity == fNoted.identity) {
    return true;
  }
  const int systemError = told ? ENOENT : errno;
  cRuntime()._close(fHandle);
  fHandle = -1;
  fGood = false;
  errno = systemError;
  return false;
}

bool VORN_File::Appends() const noexcept { return (accessFlags(fMode) & _O_APPEND) != 0; }

void VORN_File::Fail(Side side, int systemError) {
  if (!fForgetsFailures) {
    fGood = false;
  }
  errno = systemError;
  ThrowError::StringSys("strmcat.err", static_cast<long>(side), fName.GetGeneric().c_str());
}

void VORN_File::SeekTo(Side side, int64 position) {
  if (fStands == kGone) {
    Fail(side, EBADF);
  }
  errno = 0;
  if (cRuntime()._lseeki64(fHandle, position, SEEK_SET) == -1) {
    Fail(side, errno);
  }
  fStands = position;
}

// On an enciphered file the descriptor may stand elsewhere than at fPosition: a read that goes on there reads from
// where the descriptor stands.
void VORN_File::SeekUnlessThere(Side side, int64 position) {
  if (position != fPosition || fStands == kUnknown || fStands == kGone) {
    SeekTo(side, position);
  }
  errno = 0;
}

void VORN_File::PutDescriptorBack() const noexcept {
  fStands = cRuntime()._lseeki64(fHandle, fPosition, SEEK_SET) == -1 ? kUnknown : fPosition;
}

std::size_t VORN_File::Read(void* buffer, std::size_t size, int64 position) {
  if (fEncrypted) {
    DATASOURCE_ASSERT(position % CIPHER_BLOCK_SIZE == 0 && size % CIPHER_BLOCK_SIZE == 0,
                      "byteOffset%CIPHER_BLOCK_SIZE == 0 && byteSize%CIPHER_BLOCK_SIZE == 0 && \"byteOffset and "
                      "byteSize shoule be multiple of 16.\"",
                      kSource);
  }
  const sfGuard guard(fMutex);
  const datasource::InvariantCheck check(*this);
  if (!IsOpen()) {
    return 0;
  }
  SeekUnlessThere(Side::reading, position);
  const std::int32_t rawCount = cRuntime()._read(fHandle, buffer, low32Unsigned(size));
  if (rawCount == -1) {
    const int systemError = errno;
    if (!fEncrypted || position != fPosition) {
      PutDescriptorBack();
    }
    Fail(Side::reading, systemError);
  }
  fStands = positionPlus(fStands, rawCount);
  auto count = static_cast<std::size_t>(rawCount);
  if (fEncrypted) {
    count = DecipherInPlace(buffer, count, position);
  }
  fPosition = positionPlus(position, count);
  fEof = count == 0;
  return count;
}

std::size_t VORN_File::ReadAhead(void* buffer, std::size_t size, int64 position) {
  const sfGuard guard(fMutex);
  // The flag itself is left alone: the client may clear it meanwhile, without the lock.
  fForgetsFailures = true;
  try {
    const std::size_t count = Read(buffer, size, position);
    fForgetsFailures = false;
    return count;
  } catch (...) {
    fForgetsFailures = false;
    throw;
  }
}

std::size_t VORN_File::Write(const void* buffer, std::size_t size, int64 position) {
  const sfGuard guard(fMutex);
  const datasource::InvariantCheck check(*this);
  if (!IsOpen()) {
    return 0;
  }
  if (fEncrypted) {
    return WriteEnciphered(buffer, size, position);
  }
  SeekUnlessThere(Side::writing, position);
  const std::int32_t count = cRuntime()._write(fHandle, buffer, low32Unsigned(size));
  if (count == -1) {
    const int systemError = errno;
    PutDescriptorBack();
    Fail(Side::writing, systemError);
  }
  fPosition = positionPlus(position, count);
  fStands = fPosition;
  if (Appends()) {
    // The system wrote at the file's end, wherever that is.
    PutDescriptorBack();
  }
  return static_cast<std::size_t>(count);
}

std::size_t VORN_File::WriteWhole(const void* buffer, std::size_t size, int64 position) {
  std::size_t written = 0;
  return WriteWhole(buffer, size, position, written);
}

std::size_t VORN_File::WriteWhole(const void* buffer, std::size_t size, int64 position, std::size_t& written) {
  const sfGuard guard(fMutex);
  written = 0;
  if (fEncrypted && IsOpen()) {
    return Write(buffer, size, position);
  }
  const auto* const bytes = static_cast<const unsigned char*>(buffer);
  while (written < size) {
    errno = 0;
    const std::size_t count = Write(bytes + written, size - written, positionPlus(position, written));
    if (count == 0) {
      Fail(Side::writing, IsOpen() ? ENOSPC : EBADF);
    }
    written += count;
  }
  return size;
}

int64 VORN_File::Size() const {
  const sfGuard guard(fMutex);
  if (!IsOpen()) {
    return 0;
  }
  if (fStands == kGone) {
    return -1;
  }
  const int64 size = cRuntime()._lseeki64(fHandle, 0, SEEK_END);
  PutDescriptorBack();
  return size;
}

int VORN_File::Close() {
  const sfGuard guard(fMutex);
  const datasource::InvariantCheck check(*this);
  if (!IsOpen()) {
    return 0;
  }
  if (fStands == kGone) {
    Fail(Side::writing, EBADF);
  }
  if (fEncrypted && fEncryptStarted) {
    EndRunningEncryption();
  }
  errno = 0;
  if (cRuntime()._close(fHandle) != 0) {
    // The descriptor is gone all the same; its number may come to name another file.
    fStands = kGone;
    Fail(Side::writing, errno);
  }
  fHandle = -1;
  return 1;
}
