#ifndef DATASOURCE_TESTS_COMPRESSEDPEER_H
#define DATASOURCE_TESTS_COMPRESSEDPEER_H

#include "Datasource/zcmpsFilestr.h"
#include "support/peers.h"
#include "zcmpsFilestrData.h"

/// The tests' view of a compressed stream's fields.
struct zcmpsFilestrPeer {
  using Data = zcmpsFilestr::Data;

  static Data& data(const zcmpsFilestr& stream) { return *stream.fData; }
  static bool isWriting(const zcmpsFilestr& stream) { return stream.bIsWriting; }
  static int64 filePosition(const zcmpsFilestr& stream) { return stream.fFilePos; }
};

#endif
