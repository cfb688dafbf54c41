#ifndef DATASOURCE_TESTS_PEERS_H
#define DATASOURCE_TESTS_PEERS_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "Datasource/file.h"
#include "Datasource/fileStream.h"
#include "fileStreamData.h"
#include "multiThreadForFilestr.h"

/// The tests' view of a raw file's fields.
struct VORN_FilePeer {
  static int64 position(const VORN_File& file) { return file.fPosition; }
  static std::string name(const VORN_File& file) { return file.fName.GetGeneric(); }
  static const ExtNameStr& nameField(const VORN_File& file) { return file.fName; }
  static const std::string& modeField(const VORN_File& file) { return file.fMode; }
  static std::string mode(const VORN_File& file) { return file.fMode; }
  static int handle(const VORN_File& file) { return file.fHandle; }
  static bool good(const VORN_File& file) { return file.fGood; }
  static void setGood(VORN_File& file, bool good) { file.fGood = good; }
  static bool eof(const VORN_File& file) { return file.fEof; }
  static bool encrypted(const VORN_File& file) { return file.fEncrypted; }
  static bool encryptStarted(const VORN_File& file) { return file.fEncryptStarted; }
  static const unsigned char* carry(const VORN_File& file) { return file.fCarry; }
  static int carryCount(const VORN_File& file) { return file.fCarryCount; }
  static int padCount(const VORN_File& file) { return file.fPadCount; }
  static std::int32_t references(const VORN_File& file) { return file.fCount; }
  static sfMutex& mutex(const VORN_File& file) { return file.fMutex; }
};

/// The tests' view of a stream's fields.
struct VORN_FileStreamPeer {
  using Data = VORN_FileStream::Data;

  static Data& data(const VORN_FileStream& stream) { return *stream.data; }
  static VORN_File& file(const VORN_FileStream& stream) { return *data(stream).file; }
  /// Read and Write without the short way of small records.
  static std::size_t readInSteps(VORN_FileStream& stream, void* dest, std::size_t n) {
    return stream.ReadInSteps(dest, n);
  }
  static std::size_t writeInSteps(VORN_FileStream& stream, const void* src, std::size_t n) {
    return stream.WriteInSteps(src, n);
  }
  static std::int32_t multiThreadReading(const VORN_FileStream& stream) { return stream.multiThreadReading; }
  static std::int32_t preReading(const VORN_FileStream& stream) { return stream.preReading; }
};

/// The tests' view of a read-ahead worker's fields. Requires: the worker's thread does not fetch.
struct multiThreadForFilestrPeer {
  static int64 nextPos(const multiThreadForFilestr& worker) { return worker.handOff->nextPos; }
  static int64 prefetchPos(const multiThreadForFilestr& worker) { return worker.handOff->prefetchPos; }
  static int64 count(const multiThreadForFilestr& worker) { return worker.handOff->count; }
  static bool stopRequested(const multiThreadForFilestr& worker) { return worker.handOff->stopRequested; }
};

#endif
