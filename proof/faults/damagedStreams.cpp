// Streams that read and append to damaged files, and go on behind every error.

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "Datasource/fileStream.h"
#include "Datasource/platform/throwError.h"
#include "Datasource/zcmpsFilestr.h"
#include "faults/uses.h"

namespace proof {
namespace {

// Goes on behind an error, whatever it was. Returns: whether there was none.
template <typename Step>
bool survives(Step step) {
  try {
    step();
    return true;
  } catch (const StringSysError&) {
  } catch (const AssertionThrown&) {
  }
  return false;
}

enum class Damage { none, firstBlock, checkValue, table, heading };

Image damaged(Damage damage) {
  constexpr std::size_t kRecord = 24;
  constexpr std::size_t kRecords = 4;  // the table's first, and one of each block
  Image image = sound();
  Bytes& file = image.at(kFile);
  const std::size_t table = file.size() - kRecords * kRecord;
  const auto row0 = static_cast<std::size_t>(kRow0);
  switch (damage) {
    case Damage::firstBlock:
      file[row0 + kRecord + 40] ^= 0x10U;
      break;
    case Damage::checkValue:
      file[table - 1] ^= 1U;
      break;
    case Damage::table:
      file[table] ^= 1U;
      break;
    case Damage::heading:
      file[row0] ^= 1U;
      break;
    default:
      break;
  }
  return image;
}

// Reads here and there, and on behind every error.
Told readOnBehindErrors(int mode, End end) {
  return useStream([=] {
    const Bytes expected = logical(kBytes);
    VORN_FileStream plain(kFile.c_str(), "rb");
    zcmpsFilestr stream(plain);
    stream.setMultiThread(mode);
    bool well = survives([&] { stream.readFilePosInfo(kRow0, false); });
    Bytes piece(kPiece);
    for (const std::size_t from : {std::size_t{0}, std::size_t{kBlock}, std::size_t{100}, 2 * kBlock}) {
      stream.Seek(kRow0 + static_cast<std::int64_t>(from), VORN_StrBaseIO::SeekFromStart);
      for (int i = 0; i < 3; ++i) {
        const auto at = static_cast<std::size_t>(stream.Tell());
        well = survives([&] {
                 const std::size_t got = stream.Read(piece.data(), piece.size());
                 requireRight(piece.data(), got, at, expected);
                 if (well && !anythingReported() && got < std::min(piece.size(), expected.size() - at)) {
                   tellWrong("an end without a word", at + got);
                 }
               }) &&
               well;
      }
    }
    const Told result = finish(stream, end);
    return well ? result : Told::failure;
  });
}

// An append to a file that is damaged where it looks does nothing to it.
Told appendBehindErrors() {
  return useStream([] {
    VORN_FileStream plain(kFile.c_str(), "rb");
    zcmpsFilestr stream(plain);
    const auto at = kRow0 + static_cast<std::int64_t>(kBytes);
    const Bytes data = caseData(kMore, kBytes);
    bool well = survives([&] { stream.readFilePosInfo(kRow0, false); });
    stream.Seek(at, VORN_StrBaseIO::SeekFromStart);
    well = survives([&] { stream.setFileToAppend(at, false); }) && well;
    well = survives([&] { stream.Write(data.data(), data.size()); }) && well;
    const bool closed = survives([&] { well = stream.Close() == 1 && well; });
    return told(well && closed);
  });
}

void addDamaged(std::vector<Scenario>& all) {
  for (const auto& [damage, name] : {std::pair{Damage::none, "sound"},
                                     {Damage::firstBlock, "damaged in its first block"},
                                     {Damage::checkValue, "damaged in its last check value"},
                                     {Damage::table, "damaged in its table"},
                                     {Damage::heading, "damaged in its heading"}}) {
    const Image before = damaged(damage);
    const auto onlyReads = [=](const Image& image, Told) { return unchanged(image, before); };
    for (const bool throws : {false, true}) {
      const std::string what = std::string(", ") + name + (throws ? ", assertions throw" : "");
      const auto add = [&, throws = throws](std::string how, const std::function<Told()>& act, auto judge) {
        all.push_back({std::move(how) + what, before,
                       [=] {
                         std::optional<ThrowingHandler> handler;
                         if (throws) {
                           handler.emplace();
                         }
                         return act();
                       },
                       judge});
      };
      for (const int mode : {0, 2}) {
        for (const End end : {End::close, End::destroy, End::unwind}) {
          add(
              "a stream reads on in mode " + std::to_string(mode) + ", " + nameOf(end),
              [=] { return readOnBehindErrors(mode, end); }, onlyReads);
        }
      }
      if (damage != Damage::none && damage != Damage::firstBlock) {
        add("a stream appends", appendBehindErrors, onlyReads);
      }
    }
  }
}

}  // namespace

std::vector<Scenario> damagedStreamScenarios() {
  std::vector<Scenario> all;
  addDamaged(all);
  return all;
}

}  // namespace proof
