#ifndef DATASOURCE_FILESTREAM_H
#define DATASOURCE_FILESTREAM_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include "Datasource/export.h"
#include "Datasource/file.h"
#include "Datasource/platform/extNameStr.h"
#include "Datasource/platform/types.h"
#include "Datasource/platform/uncaughtExceptions.h"
#include "Datasource/strBaseIO.h"

/// A byte stream over one raw file with one buffer of 4,190,208 bytes for reading and writing;
/// optionally a worker thread reads the next block ahead.
///
/// Logical positions are file positions here. The file is open when the stream holds a raw file
/// whose descriptor is open.
///
/// Raises: the stream itself raises nothing; errors of the raw file (StringSysError 1002, 1003) pass
///   through, and the stream's fields keep the values that they had before the failing transfer.
/// Threads: one at a time. Streams that share a raw file (copies) take turns at it safely, but what
///   one of them buffers the others see only after a flush; copies that share a read-ahead worker
///   are used by one thread.
/// Cost: one stream keeps 4,190,264 bytes, touched only as far as they are used.
class DATASOURCE_API VORN_FileStream : public VORN_StrBaseIO {
 public:
  /// One read or write on its way through the stream; every step that moves n bytes advances `dest`
  /// by n, lowers `remaining` by n and raises `*position` by n.
  struct ReadRequest {
    unsigned char* dest;    ///< where the next byte goes, or comes from
    std::size_t remaining;  ///< bytes still to move
    int64* position;        ///< the stream's, which goes along
  };

  /// A stream without a file.
  VORN_FileStream();
  /// A stream without a file; `encrypt` asks for enciphered contents (see SetKeepEncrypt) of every
  /// file that it opens.
  explicit VORN_FileStream(bool encrypt);
  explicit VORN_FileStream(const void*) = delete;
  /// Opens a file; whether that succeeded, the first operation tells (Seek gives -1).
  VORN_FileStream(const char* name, const char* mode);
  /// The same; `encrypt` as above.
  VORN_FileStream(const char* name, const char* mode, bool encrypt);
  /// A stream on the same raw file, with an empty buffer, at position 0. Last, `other` is closed in
  /// the sense of Close: its pending bytes and its cipher tail are written out.
  /// Raises: 1002 from that; the new stream is then not made.
  VORN_FileStream(const VORN_FileStream& other);
  VORN_FileStream& operator=(const VORN_FileStream&) = delete;

  /// Flushes and finishes the encryption if the file is open. The descriptor is closed when the last
  /// stream that shares the raw file goes.
  ~VORN_FileStream() noexcept(false) override;

  /// Sets the raw file's good flag; nothing without a file.
  void Clear() override;
  /// Returns: the raw file's good flag; 1 without a file.
  int Good() override;
  std::size_t Read(void* dest, std::size_t n) override;
  std::size_t Write(const void* src, std::size_t n) override;
  using VORN_StrBaseIO::Seek;
  int Seek(int64 offset, SeekDirection from) override;
  int64 Tell() const override;
  int EndOfFile() override;

  /// Makes a new raw file for this stream and opens it; `mode` as in VORN_File::Open. `password` is
  /// not used. Position: the file's start, or its end for a mode with 'a'. Null strings count as "".
  /// A read-ahead worker ends here; the next read in that mode makes another. A new file has mode 0600, less the
  /// umask, where the system knows such rights. On a file that is only appended to (a mode with 'a') a write joins no
  /// bytes that were read: a flush would append those once more.
  ///
  /// Requires: a stream that is used again was flushed and reset (ClearAndReset) by its caller: the
  ///   buffer is left as it was, and a reference from GetNameStr and the pointer from Name end here.
  /// Returns: 1 if the file was opened, else 0; the stream then reports not open.
  virtual int Open(const ExtNameStr& name, const ExtNameStr& password, const char* mode);
  /// The same by a generic name.
  virtual int Open(const char* name, const char* password, const char* mode);
  /// The same without a password.
  virtual int Open(const ExtNameStr& name, const char* mode);
  /// The same by a generic name, without a password.
  virtual int Open(const char* name, const char* mode);

  /// Back to position 0 with an empty buffer.
  /// Kept as is: buffered bytes that were not flushed are dropped.
  virtual void ClearAndReset();

  /// Returns: the raw file's name, or an empty name without a file. Good until the next Open.
  virtual const ExtNameStr& GetNameStr() const;

  /// Writes out what is buffered and finishes the encryption. The file stays open, the stream usable.
  /// Returns: 1; 0 if the file is not open.
  virtual int Close() const;
  /// The same.
  virtual int Close();

  /// Writes out what is buffered; the buffer stays valid for reading.
  /// Returns: 1 always. Raises: 1002; what was not written stays buffered.
  virtual int Flush() const;

  /// Returns: the raw file's generic name, or null without a file. Good until the next Open.
  virtual const char* Name() const;

  /// Returns: 4,190,264, the bytes that one stream object keeps.
  virtual unsigned int Footprint() const;

  /// Reads go through the buffer in whole aligned blocks (on at start) ...
  void EnablePreReading() noexcept;
  /// ... or each goes straight to the file.
  void DisablePreReading() noexcept;

  /// Reads ahead on a worker thread from now on. Written bytes must be flushed before reading in this
  /// mode.
  /// Requires: an open file (assertion; if it returns, the stream reads without a worker).
  /// Cost: one thread and one more block buffer, once per open file. Where the system gives no
  ///   thread or memory for it, the stream reads without one.
  void EnableMultiThreadReading();
  /// Reads without the worker from now on; it stays, idle, with its block.
  void DisableMultiThreadReading() noexcept;

  /// Returns: whether another stream or worker holds the raw file too.
  bool IsShared() const noexcept;

 protected:
  /// Returns: whether the file is open.
  bool DataReady() const noexcept;
  /// Returns: the raw file. Requires: there is one.
  VORN_File& GetFile() const noexcept;
  /// Returns: the counted pointer to the raw file, empty without one.
  const RefCountPtr<VORN_File>& SharedFile() const noexcept;
  /// Returns: how often this stream has opened a file; another count means another raw file.
  unsigned int Openings() const noexcept { return openings; }
  /// Makes the read-ahead worker's next block come from the file: a subclass has changed or reopened it.
  void ForgetReadAhead() noexcept;
  /// Returns: whether the object goes because an exception is on its way out, so that another must
  ///   not join it.
  bool DestroyedByUnwinding() const noexcept;

 private:
  class DATASOURCE_LOCAL Data;
  friend struct VORN_FileStreamPeer;  // the tests' view of the fields

  DATASOURCE_LOCAL std::size_t ReadInSteps(void* dest, std::size_t n);
  DATASOURCE_LOCAL void ReadThroughBuffer(ReadRequest& request);
  DATASOURCE_LOCAL void ReadAhead(ReadRequest& request);
  DATASOURCE_LOCAL void ReadDirect(ReadRequest& request);
  DATASOURCE_LOCAL std::size_t WriteInSteps(const void* src, std::size_t n);
  DATASOURCE_LOCAL bool MakeWorker();

  std::unique_ptr<Data> data;
  std::int32_t multiThreadReading = 0;
  std::int32_t preReading = 1;
  int64 position = 0;
  int uncaughtAtConstruction;
  unsigned int openings = 0;
};

#endif
