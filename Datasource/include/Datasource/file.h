#ifndef DATASOURCE_FILE_H
#define DATASOURCE_FILE_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "Datasource/export.h"
#include "Datasource/platform/cRuntime.h"
#include "Datasource/platform/extNameStr.h"
#include "Datasource/platform/threads.h"
#include "Datasource/platform/types.h"
#include "Datasource/refCount.h"

namespace datasource {
template <typename Object>
class InvariantCheck;
}  // namespace datasource

/// Turns the encryption of file contents on or off for raw files constructed from now on; off at
/// start. Contents are enciphered when this is on AND encryption was asked for at construction.
///
/// Threads: any.
DATASOURCE_API void SetKeepEncrypt(bool keep);

/// One open file that several streams and workers may share: positional reads and writes under one
/// lock, seeking only when it must, enciphered in 16-byte blocks if that was chosen.
///
/// All positions are file positions in bytes. One transfer moves at most the low 32 bits of its
/// count.
///
/// Raises: StringSysError with catalogue "strmcat.err", 1002 on the writing side, 1003 on the
///   reading side, and the file's generic name. errno is that of the failing call. The good flag is
///   cleared before; nothing else that was done is rolled back.
/// Threads: any thread that holds a reference, except for Open, which is called before the file is
///   shared. Each operation holds the file's lock from its seek to the end of its transfer, so two
///   transfers never interleave.
class DATASOURCE_CLASS VORN_File : public VORN_RefCntObject {
 public:
  /// A closed file with plain contents.
  DATASOURCE_MEMBER VORN_File();
  /// A closed file; its contents are enciphered if `encrypt` and the keep-encrypt switch both say
  /// so now.
  DATASOURCE_MEMBER explicit VORN_File(bool encrypt);
  explicit VORN_File(const void*) = delete;
  /// Forbidden: asserts. If the assertion returns, the copy is a closed file.
  DATASOURCE_MEMBER VORN_File(const VORN_File& other);
  VORN_File& operator=(const VORN_File&) = delete;

  /// Closes the file. An error met here goes to the lost-error handler.
  DATASOURCE_MEMBER ~VORN_File() override;

  /// Opens the file `name`, closing first what is open. `mode` is read as the C runtime's fopen
  /// mode, letters in any order: r, w, a, +, t (text), T (short-lived), D (removed at close); without
  /// '+', 'r' outranks 'w' and 'a'. Null counts as "".
  /// Returns: true when the file is open now. A failed open raises nothing, keeps the new name and
  ///   leaves the file closed and not good. A file whose end cannot be told does not open with an 'a'.
  /// Raises: 1002 when closing the file open before fails; nothing else has changed then, and the next
  ///   Open opens: a descriptor that a close has lost is reported once.
  /// Threads: one, before the file is shared.
  DATASOURCE_MEMBER bool Open(const ExtNameStr& name, const char* mode);

  /// Reads up to `size` bytes at `position` into `buffer`.
  ///
  /// Requires: `buffer` holds `size` bytes. On an enciphered file both `position` and `size` are
  ///   multiples of 16 (assertion, made before the lock is taken).
  /// Returns: bytes delivered; 0 at the end of the file or when the file is closed. A short count
  ///   is no error and is not retried: the caller asks again.
  /// Raises: 1003 when the seek or the read fails or deciphering does not succeed.
  /// Changes: the remembered position becomes `position` + result and the end-of-file flag follows
  ///   the result. After an error the remembered position is unchanged.
  /// Cost: one system call when `position` is the remembered position, otherwise two; on an enciphered
  ///   file two more, which find its size.
  /// Kept as is: an enciphered read leaves the descriptor where it stood before, so the contents
  ///   are read whole, in one call from position 0.
  DATASOURCE_MEMBER std::size_t Read(void* buffer, std::size_t size, int64 position);

  /// Writes `size` bytes at `position`.
  ///
  /// Returns: on a plain file the bytes written, which may be fewer than asked (neither retried nor
  ///   raised); 0 when the file is closed. On an enciphered file the count of the last physical
  ///   write, which is no measure of the bytes accepted: all of them are, and what is short of a
  ///   physical write is written on.
  /// Raises: 1002 when the seek or the write fails or enciphering does not succeed; on an enciphered
  ///   file also, with EINVAL and before anything happens, when `size` is beyond 2 GiB less 17 bytes.
  /// Changes: the remembered position becomes `position` + the plain bytes accepted.
  /// Cost: one system call when `position` is the remembered position, otherwise two; on a file
  ///   opened for appending one more.
  DATASOURCE_MEMBER std::size_t Write(const void* buffer, std::size_t size, int64 position);

  /// Returns: the file's length in bytes; 0 when closed; -1 when it cannot be told.
  /// Cost: two system calls; a read that goes on where the last one ended still makes no seek.
  DATASOURCE_MEMBER int64 Size() const;

  /// Ends a running encryption and closes the file. Bytes carried for the next cipher block are not
  /// written: the streams finish the encryption first.
  /// Returns: 1 when a file was closed, 0 when none was open.
  /// Raises: 1002. When the system's close failed, the descriptor is gone all the same: the file
  ///   counts as open, and every later operation on it but Open fails without touching the descriptor.
  DATASOURCE_MEMBER int Close();

  /// Returns: whether there is a file, be it one whose close failed.
  bool IsOpen() const noexcept { return fHandle != -1; }

  // ---- For the streams and their workers; none of it is exported.

  /// Enciphers the carried tail, padded to a whole block, and ends the running encryption.
  /// Returns: the count of the last physical write; 0 when there was nothing to do.
  /// Raises: 1002.
  DATASOURCE_LOCAL std::int32_t FinishEncryption();

  /// Writes all `size` bytes of a plain file, going on after a short transfer; on an enciphered file
  /// one Write. `written` is set to the plain bytes that reached a plain file, also when it raises.
  /// Returns: `size`, or on an enciphered file what Write returns.
  /// Raises: 1002, also when no more bytes can be written.
  DATASOURCE_LOCAL std::size_t WriteWhole(const void* buffer, std::size_t size, int64 position, std::size_t& written);
  /// The same for a caller that asks for no count.
  DATASOURCE_LOCAL std::size_t WriteWhole(const void* buffer, std::size_t size, int64 position);

  /// Read for a worker that forgets a failure: the good flag is left alone, whatever happens.
  DATASOURCE_LOCAL std::size_t ReadAhead(void* buffer, std::size_t size, int64 position);

  /// Close and Open under the lock, for a file that others share. What is open or was open when it was last
  /// noted must be found again: another file of that name counts as one that does not open (ENOENT).
  /// Returns: whether the file is open now. false: errno says why; the file is closed and not good, or, where it
  ///   could not be told which one it is, still open and not good.
  /// Raises: 1002 when closing the file open before fails.
  DATASOURCE_LOCAL bool Reopen(const ExtNameStr& name, const char* mode);
  /// Which file a reopen must find: any one; or the one of an identity; or one that could not be told, which no file
  /// is.
  struct NotedFile {
    bool wanted = false;                                         ///< false: any file will do
    std::optional<datasource::platform::FileIdentity> identity;  ///< the one; none: it could not be told
  };
  /// Notes which file is open, for a Reopen after a Close. Returns: the note.
  DATASOURCE_LOCAL NotedFile NoteIdentity();
  /// Takes a note, and closes an open file that is not the one noted (ENOENT), or of which that cannot be told.
  /// Returns: whether the file is open now; false: errno says why, and the file is not good.
  DATASOURCE_LOCAL bool StaysOpenAs(const NotedFile& noted);

  /// Returns: whether the system puts every write at the file's end, whatever its position.
  DATASOURCE_LOCAL bool Appends() const noexcept;
  /// Returns: whether the contents are enciphered.
  DATASOURCE_LOCAL bool Enciphers() const noexcept { return fEncrypted; }
  /// Returns: the remembered position. Requires: no other thread uses the file.
  DATASOURCE_LOCAL int64 Position() const noexcept { return fPosition; }
  /// Returns: the name last given to Open.
  DATASOURCE_LOCAL const ExtNameStr& Name() const noexcept { return fName; }
  /// Returns: the good flag. Threads: any, without the lock.
  DATASOURCE_LOCAL bool Good() const noexcept { return fGood; }
  /// Sets the good flag. Threads: any, without the lock.
  DATASOURCE_LOCAL void Clear() noexcept { fGood = true; }

 private:
  friend class datasource::InvariantCheck<VORN_File>;
  friend struct VORN_FilePeer;  // the tests' view of the fields

  /// Which side of the catalogue an error belongs to.
  enum class Side : int { writing = 1002, reading = 1003 };

  /// Where the cipher's next output belongs.
  struct CipherEnd {
    int64 place = 0;        // in the file
    bool continued = true;  // by a write at fPosition; after a read no write goes on there
  };

  // Values of fStands beside a position.
  static constexpr int64 kUnknown = -1;  // a call failed that may have moved the descriptor
  static constexpr int64 kGone = -2;     // the system's close failed: fHandle may name another file now

  DATASOURCE_LOCAL bool KeepsInvariants() const noexcept;

  DATASOURCE_LOCAL bool OpenAnew(const ExtNameStr& name, const char* mode);
  DATASOURCE_LOCAL void ForgetLostDescriptor() noexcept;
  DATASOURCE_LOCAL void StandAt(int64 position) noexcept;
  [[noreturn]] DATASOURCE_LOCAL void Fail(Side side, int systemError);
  DATASOURCE_LOCAL void SeekTo(Side side, int64 position);
  DATASOURCE_LOCAL void SeekUnlessThere(Side side, int64 position);
  DATASOURCE_LOCAL void PutDescriptorBack() const noexcept;

  DATASOURCE_LOCAL void AcceptEnciphered(int64 plainEnd, int64 cipherEnd) noexcept;
  DATASOURCE_LOCAL std::size_t WriteEnciphered(const void* buffer, std::size_t size, int64 position);
  DATASOURCE_LOCAL std::int32_t EncipherAndWrite(const unsigned char* bytes, std::int32_t size, bool giveBack);
  DATASOURCE_LOCAL std::size_t DecipherInPlace(void* buffer, std::size_t rawCount, int64 position);
  DATASOURCE_LOCAL std::int32_t EndRunningEncryption();
  DATASOURCE_LOCAL void SeekToCipherEnd();
  DATASOURCE_LOCAL std::int32_t WriteCipherOutput(const unsigned char* output, std::int32_t length);

  mutable sfMutex fMutex;
  int64 fPosition = 0;
  ExtNameStr fName;
  std::string fMode;
  std::int32_t fHandle = -1;
  std::atomic<bool> fGood = true;
  std::atomic<bool> fEof = false;
  bool fEncrypted = false;
  bool fEncryptStarted = false;
  unsigned char* fCarry;
  std::int32_t fCarryCount = 0;
  std::int32_t fPadCount = 0;
  // fGood and fEof are atomic because streams look at them without the lock.

  // Where the descriptor stands, or kUnknown, or kGone. After every plain operation that is fPosition or kUnknown.
  mutable int64 fStands = 0;
  CipherEnd fCipherEnd;           // means something while fEncrypted
  bool fForgetsFailures = false;  // a read for a worker is under way

  NotedFile fNoted;  // what a reopen must find
};

extern template class DATASOURCE_TEMPLATE_DECLARATION RefCountPtr<VORN_File>;

#endif
