#ifndef DATASOURCE_TESTS_COMPRESSEDPEER_H
#define DATASOURCE_TESTS_COMPRESSEDPEER_H

#include "Datasource/zcmpsFilestr.h"
#include "support/peers.h"
#include "zcmpsFilestrData.h"

/// The tests' view of a compressed stream's state, which its results do not always show.
struct zcmpsFilestrPeer {
  using State = zcmpsFilestr::Data::State;

  static State state(const zcmpsFilestr& stream) { return stream.fData->Now(); }
  static bool hasWorker(const zcmpsFilestr& stream) { return stream.fData->HasWorker(); }
  static bool isWriting(const zcmpsFilestr& stream) { return stream.bIsWriting; }
};

#endif
