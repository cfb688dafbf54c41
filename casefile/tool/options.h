#ifndef CASEFILE_OPTIONS_H
#define CASEFILE_OPTIONS_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "Datasource/platform/types.h"
#include "casefile/encoder.h"
#include "casefile/reader.h"
#include "casefile/recover.h"

namespace casefile::program {

/// What the user asks a command for. Each command looks at what it has options for.
struct Options {
  std::vector<std::string> files;  ///< compressed: of info and verify
  std::string file;                ///< compressed: of cat and append
  std::string input = "-";
  std::string output;

  std::optional<int64> row0;  ///< where the dictionary part ends
  bool swap = false;          ///< the file has the other byte order; otherwise either is looked for
  std::size_t threads = 0;    ///< 0: as many as the process may keep busy
  Encoder encoder = Encoder::automatic;

  bool force = false;                ///< a file that has the output's name goes
  bool sync = true;                  ///< the output is on the disk before it gets its name, and the name behind it
  bool preserve = true;              ///< the output gets the input's access rights and times
  std::string dictionary;            ///< pack: the file that the dictionary part is in
  std::optional<int64> headerLines;  ///< pack: those of the dictionary part; append: those to be left out
  Holes holes = Holes::stop;         ///< recover
  bool partial = false;              ///< recover: the output is plain data

  std::optional<int64> from;    ///< cat; none: all case data
  std::optional<int64> bytes;   ///< cat; none: to the end
  bool withDictionary = false;  ///< cat: the dictionary part in front of the case data
  bool blocks = false;          ///< info: a row for each block
  bool json = false;            ///< info

  ByteOrder byteOrder() const noexcept { return swap ? ByteOrder::other : ByteOrder::find; }
};

/// The commands. Each returns its exit code or raises what main reports.
int pack(const Options& options);
int append(const Options& options);
int unpack(const Options& options);
int cat(const Options& options);
int info(const Options& options);
int verify(const Options& options);
int recover(const Options& options);

}  // namespace casefile::program

#endif
