#ifndef CASEFILE_OPTIONS_H
#define CASEFILE_OPTIONS_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "Datasource/platform/types.h"
#include "casefile/encoder.h"
#include "casefile/recover.h"
#include "placeHint.h"

namespace casefile::program {

struct PackOptions {
  std::optional<int64> row0;
  std::optional<int64> headerLines;
  std::string dictionary;
  std::size_t threads = 0;  ///< 0: as many as the process may keep busy
  Encoder encoder = Encoder::automatic;
  bool force = false;
  bool sync = true;
  bool preserve = true;
  std::string input;
  std::string output;
};

struct AppendOptions {
  PlaceHint hint;
  std::optional<int64> headerLines;  ///< of the input, to be left out
  std::size_t threads = 0;           ///< 0: as many as the process may keep busy
  Encoder encoder = Encoder::automatic;
  std::string file;
  std::string input = "-";
};

struct UnpackOptions {
  PlaceHint hint;
  std::size_t threads = 0;  ///< 0: as many as the process may keep busy
  bool force = false;
  bool sync = true;
  bool preserve = true;
  std::string input;
  std::string output;
};

struct CatOptions {
  PlaceHint hint;
  std::optional<int64> from;  ///< none: all case data
  bool dictionary = false;    ///< the dictionary part in front of them
  std::size_t threads = 0;    ///< 0: as many as the process may keep busy
  std::optional<int64> bytes;
  std::string file;
};

struct InfoOptions {
  PlaceHint hint;
  bool blocks = false;
  bool json = false;
  std::vector<std::string> files;
};

struct VerifyOptions {
  PlaceHint hint;
  std::size_t threads = 0;  ///< 0: as many as the process may keep busy
  std::vector<std::string> files;
};

struct RecoverOptions {
  std::optional<int64> row0;
  Holes holes = Holes::stop;
  bool partial = false;     ///< the output is plain data
  std::size_t threads = 0;  ///< 0: as many as the process may keep busy
  bool force = false;
  bool sync = true;
  std::string input;
  std::string output;
};

/// The commands. Each returns its exit code or raises what main reports.
int pack(const PackOptions& options);
int append(const AppendOptions& options);
int unpack(const UnpackOptions& options);
int cat(const CatOptions& options);
int info(const InfoOptions& options);
int verify(const VerifyOptions& options);
int recover(const RecoverOptions& options);

}  // namespace casefile::program

#endif
