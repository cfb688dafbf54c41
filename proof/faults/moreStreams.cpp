// Streams that are enciphered, copied, opened again, or tried again behind an error.

#include <algorithm>
#include <optional>
#include <utility>

#include "Datasource/fileStream.h"
#include "Datasource/platform/cipher.h"
#include "Datasource/platform/throwError.h"
#include "Datasource/zcmpsFilestr.h"
#include "faults/uses.h"
#include "support/allocations.h"
#include "support/oracle.h"

namespace proof {
namespace {

namespace cipher = datasource::cipher;

constexpr std::size_t kCipherBlock = 16;
constexpr std::size_t kPieceOfBlocks = 1504;
constexpr std::size_t kInOneBuffer = 2 * kPieceOfBlocks + 7;  // what a stream can read of an enciphered file
constexpr std::size_t kAlready = 2 * kPieceOfBlocks;
const std::string kOther = "/disk/other.case";

/// A stream that gives its raw file, and that asks for enciphered contents or not.
class Stream : public VORN_FileStream {
 public:
  using VORN_FileStream::GetFile;
  using VORN_FileStream::VORN_FileStream;
  Stream(const std::string& name, const char* mode, bool enciphers) : VORN_FileStream(enciphers) {
    Open(name.c_str(), mode);
  }
};

// Does it, and once more if it raises what may be tried again.
template <typename Step>
void insist(Step step) {
  try {
    step();
  } catch (const StringSysError&) {
    step();
  }
}

// Writes the bytes from `begin` to `end` at their positions. Returns: whether all were taken.
bool writeBetween(VORN_FileStream& stream, const Bytes& data, std::size_t begin, std::size_t end, bool again) {
  for (std::size_t at = begin; at < end;) {
    const std::size_t size = std::min(kPieceOfBlocks, end - at);
    const int64 origin = stream.Tell() - static_cast<int64>(at);
    const auto write = [&] {
      const auto done = static_cast<std::size_t>(stream.Tell() - origin);
      stream.Write(data.data() + done, at + size - done);
    };
    if (again) {
      insist(write);
    } else {
      write();
    }
    if (stream.Tell() - origin != static_cast<int64>(at + size)) {
      return false;
    }
    at += size;
  }
  return true;
}

// Reads on from where the stream stands, to the end. Returns: whether it came to the end of what is expected.
bool readToEnd(VORN_FileStream& stream, const Bytes& expected) {
  Bytes piece(kPieceOfBlocks);
  for (std::size_t got = 1; got > 0;) {
    const auto at = static_cast<std::size_t>(stream.Tell());
    got = stream.Read(piece.data(), std::min(piece.size(), expected.size() - std::min(at, expected.size())));
    requireRight(piece.data(), got, at, expected);
  }
  return stream.Tell() == static_cast<int64>(expected.size());
}

// --- enciphered

// Enciphers or deciphers whole blocks, by the cipher alone.
Bytes through(int (*work)(unsigned char**, std::int32_t*, const unsigned char*, std::int32_t), const Bytes& bytes) {
  unsigned char* output = nullptr;
  std::int32_t length = 0;
  if (work(&output, &length, bytes.data(), static_cast<std::int32_t>(bytes.size())) != 1) {
    return {};
  }
  Bytes result(output, output + length);
  cipher::FreeOutData(output);
  return result;
}

// The file is those bytes, enciphered, the last block filled up.
std::string judgeEnciphered(const Image& image, Told told, const Bytes& plain) {
  if (told != Told::success) {
    return "";
  }
  const std::size_t inBlocks = plain.size() / kCipherBlock * kCipherBlock;
  Bytes there = image.at(kFile);
  const std::size_t size = there.size();
  there.resize(size / kCipherBlock * kCipherBlock);
  const Bytes found = there.empty() ? there : through(cipher::Decrypt, there);
  const auto agree = [&](std::size_t count) {
    return found.size() >= count &&
           std::equal(plain.begin(), plain.begin() + static_cast<std::ptrdiff_t>(count), found.begin());
  };
  const std::size_t whole = (plain.size() + kCipherBlock - 1) / kCipherBlock * kCipherBlock;
  if (size == whole && agree(plain.size())) {
    return "";
  }
  if (size >= inBlocks && size <= whole && agree(inBlocks)) {
    throw KeptRule("finishing an enciphered stream looks at no result");
  }
  return "success was told, and the enciphered file is wrong";
}

// Reads what a stream has written, and no byte more. Returns: whether all is there.
bool readBack(VORN_FileStream& stream, const Bytes& data) {
  stream.Seek(0, VORN_StrBaseIO::SeekFromStart);
  Bytes piece(kPieceOfBlocks);
  std::size_t at = 0;
  while (at < data.size()) {
    const std::size_t got = stream.Read(piece.data(), std::min(piece.size(), data.size() - at));
    if (got == 0) {
      return false;
    }
    requireRight(piece.data(), got, at, data);
    at += got;
  }
  return true;
}

enum class ReadsBack { no, itself, copy, whole };

Told writeEnciphered(std::size_t size, ReadsBack readsBack, End end) {
  return useStream([=] {
    SetKeepEncrypt(true);
    const Bytes data = caseData(size);
    Stream stream(kFile, "w+b", true);
    bool well = stream.Seek(0, VORN_StrBaseIO::SeekFromStart) == 0 && writeBetween(stream, data, 0, size, true);
    if (end == End::close) {
      insist([&] { well = stream.Close() == 1 && well; });
    } else if (end == End::unwind && well) {
      throw Unwinding();
    }
    if (end != End::close || !well || readsBack == ReadsBack::no) {
      return told(well);
    }
    stream.ClearAndReset();
    if (readsBack == ReadsBack::whole) {
      VORN_File& file = stream.GetFile();
      Bytes all(static_cast<std::size_t>(std::max<int64>(file.Size(), 0)));
      const std::size_t got = file.Read(all.data(), all.size(), 0);
      requireRight(all.data(), got, 0, data);
      well = got == size;
    } else if (readsBack == ReadsBack::itself) {
      well = readBack(stream, data);
    } else if (readsBack == ReadsBack::copy) {
      VORN_FileStream copy(stream);
      well = readBack(copy, data);
    }
    return told(well);
  });
}

Told appendEnciphered(End end) {
  return useStream([=] {
    SetKeepEncrypt(true);
    const Bytes data = caseData(kBytes, kAlready);
    Stream stream(kFile, "ab", true);
    const bool well =
        stream.Seek(0, VORN_StrBaseIO::SeekFromCurrent) == 0 && writeBetween(stream, data, 0, data.size(), false);
    if (end == End::unwind && well) {
      throw Unwinding();
    }
    return end == End::close ? told(stream.Close() == 1 && well) : told(well);
  });
}

void addEnciphered(std::vector<Scenario>& all) {
  for (const End end : {End::close, End::destroy, End::unwind}) {
    const std::string how = std::string(", ") + nameOf(end);
    all.push_back({"an enciphered stream writes" + how,
                   {},
                   [=] { return writeEnciphered(kBytes, ReadsBack::no, end); },
                   [](const Image& image, Told told) {
                     return told == Told::success && !image.contains(kFile)
                                ? "success was told, and there is no file"
                                : judgeEnciphered(image, told, caseData(kBytes));
                   }});
    const auto before = [] { return through(cipher::Encrypt, caseData(kAlready)); };
    all.push_back(
        {"an enciphered stream appends" + how,
         {{kFile, before()}},
         [=] { return appendEnciphered(end); },
         [](const Image& image, Told told) { return judgeEnciphered(image, told, caseData(kAlready + kBytes)); }});
  }
  for (const auto& [readsBack, name] : {std::pair{ReadsBack::itself, "itself"}, {ReadsBack::copy, "a copy"}}) {
    all.push_back({std::string("an enciphered stream writes, and is read through ") + name,
                   {},
                   [way = readsBack] { return writeEnciphered(kInOneBuffer, way, End::close); },
                   [](const Image& image, Told told) { return judgeEnciphered(image, told, caseData(kInOneBuffer)); }});
  }
  all.push_back({"an enciphered stream writes, and its file is read whole",
                 {},
                 [] { return writeEnciphered(kBytes, ReadsBack::whole, End::close); },
                 [](const Image& image, Told told) { return judgeEnciphered(image, told, caseData(kBytes)); }});
}

// --- tried again, copied, opened again

std::string judgePlain(const Image& image, Told told, const std::string& name, const Bytes& expected) {
  const auto found = image.find(name);
  return told != Told::success || (found != image.end() && found->second == expected)
             ? ""
             : "success was told, and the file is wrong";
}

std::string judgePlainFile(const Image& image, Told told) { return judgePlain(image, told, kFile, caseData(kBytes)); }

// What raised is done again, and then nothing is missing.
Told writeAgain() {
  return useStream([] {
    const Bytes data = caseData(kBytes);
    Stream stream(kFile, "w+b", false);
    bool well = writeBetween(stream, data, 0, data.size(), true);
    insist([&] { well = stream.Flush() == 1 && well; });
    insist([&] { well = stream.Close() == 1 && well; });
    return told(well);
  });
}

Told writeCompressedAgain() {
  return useStream([] {
    VORN_FileStream plain(kFile.c_str(), "wb");
    bool well = plain.Write(kDictionary.data(), kDictionary.size()) == kDictionary.size();
    zcmpsFilestr stream(plain);
    stream.setRow0Pos(kRow0);
    stream.Seek(kRow0, VORN_StrBaseIO::SeekFromStart);
    well = writeBetween(stream, caseData(kBytes), 0, kBytes, true) && well;
    insist([&] { well = stream.Close() == 1 && well; });
    return told(well);
  });
}

// A copy writes on where the first stream, which it closes, has ended; another one reads all.
Told writeThroughCopies(bool enciphers) {
  return useStream([=] {
    SetKeepEncrypt(true);
    const std::size_t size = enciphers ? kInOneBuffer : kBytes;
    const Bytes data = caseData(size);
    Stream first(kFile, "w+b", enciphers);
    bool well = writeBetween(first, data, 0, kPieceOfBlocks, false);
    std::optional<VORN_FileStream> second;
    insist([&] { second.emplace(first); });
    second->Seek(kPieceOfBlocks, VORN_StrBaseIO::SeekFromStart);
    well = writeBetween(*second, data, kPieceOfBlocks, size, false) && well;
    VORN_FileStream third(*second);
    well = readBack(third, data) && well;
    return told(third.Close() == 1 && well);
  });
}

// Two compressed streams take turns at one file.
Told readByTwo(int mode) {
  return useStream([=] {
    const Bytes expected = logical(kBytes);
    VORN_FileStream plain(kFile.c_str(), "rb");
    zcmpsFilestr one(plain);
    zcmpsFilestr two(plain);
    for (zcmpsFilestr* stream : {&one, &two}) {
      stream->setMultiThread(mode);
      stream->readFilePosInfo(kRow0, false);
      stream->Seek(kRow0, VORN_StrBaseIO::SeekFromStart);
    }
    Bytes piece(kPieceOfBlocks);
    bool more = true;
    while (more) {
      more = false;
      for (zcmpsFilestr* stream : {&one, &two}) {
        const auto at = static_cast<std::size_t>(stream->Tell());
        const std::size_t got = stream->Read(piece.data(), piece.size());
        requireRight(piece.data(), got, at, expected);
        more = more || got > 0;
      }
    }
    const auto end = static_cast<int64>(expected.size());
    if (!anythingReported() && (one.Tell() != end || two.Tell() != end)) {
      tellWrong("an end without a word", static_cast<std::size_t>(std::min(one.Tell(), two.Tell())));
    }
    return told(one.Close() == 1 && two.Close() == 1);
  });
}

bool opens(VORN_FileStream& stream, const std::string& name, const char* mode) {
  stream.ClearAndReset();
  return stream.Open(name.c_str(), mode) == 1;
}

// One object writes two files and reads them.
Told openAgain(bool ahead) {
  return useStream([=] {
    const Bytes data = caseData(kBytes);
    const Bytes more = caseData(kMore, kBytes);
    VORN_FileStream stream;
    bool well = opens(stream, kFile, "wb") && writeBetween(stream, data, 0, data.size(), false) && stream.Close() == 1;
    well = well && opens(stream, kOther, "w+b") && writeBetween(stream, more, 0, more.size(), false) &&
           stream.Close() == 1;
    for (const auto& [name, bytes] : {std::pair{&kFile, &data}, {&kOther, &more}}) {
      well = well && opens(stream, *name, "rb");
      if (well && ahead) {
        stream.EnableMultiThreadReading();
      }
      well = well && readToEnd(stream, *bytes);
    }
    return told(well && stream.Close() == 1);
  });
}

std::string judgeOpenAgain(const Image& image, Told told) {
  const std::string wrong = judgePlainFile(image, told);
  return wrong.empty() ? judgePlain(image, told, kOther, caseData(kMore, kBytes)) : wrong;
}

bool readsCompressed(zcmpsFilestr& stream, std::size_t cases) {
  stream.readFilePosInfo(kRow0, false);
  stream.Seek(kRow0, VORN_StrBaseIO::SeekFromStart);
  return readToEnd(stream, logical(cases));
}

// One object writes a compressed file, reads it, appends to it, and reads it again.
Told useAgain(int writing, int reading) {
  return useStream([=] {
    VORN_FileStream plain(kFile.c_str(), "wb");
    bool well = plain.Write(kDictionary.data(), kDictionary.size()) == kDictionary.size();
    zcmpsFilestr stream(plain);
    stream.setMultiThread(writing);
    stream.setRow0Pos(kRow0);
    stream.Seek(kRow0, VORN_StrBaseIO::SeekFromStart);
    well = writeBetween(stream, caseData(kBytes), 0, kBytes, false) && stream.Close() == 1 && well;
    stream.setMultiThread(reading);
    well = well && readsCompressed(stream, kBytes) && stream.Close() == 1;
    if (!well) {
      return Told::failure;
    }
    const auto end = kRow0 + static_cast<std::int64_t>(kBytes);
    stream.Seek(end, VORN_StrBaseIO::SeekFromStart);
    stream.setFileToAppend(end, false);
    well = writeBetween(stream, caseData(kMore, kBytes), 0, kMore, false) && stream.Close() == 1;
    stream.setMultiThread(reading);
    well = well && readsCompressed(stream, kBytes + kMore);
    return told(well && stream.Close() == 1);
  });
}

void addAgain(std::vector<Scenario>& all) {
  const auto wholeFile = [](std::size_t cases) {
    return [=](const Image& image, Told told) { return told == Told::success ? holds(image, kFile, cases) : ""; };
  };
  all.push_back({"a plain stream tries again", {}, writeAgain, judgePlainFile});
  all.push_back({"a compressed stream tries again", {}, writeCompressedAgain, wholeFile(kBytes)});
  all.push_back({"copies write a plain file", {}, [] { return writeThroughCopies(false); }, judgePlainFile});
  all.push_back({"copies write an enciphered file",
                 {},
                 [] { return writeThroughCopies(true); },
                 [](const Image& image, Told told) { return judgeEnciphered(image, told, caseData(kInOneBuffer)); }});
  for (const int mode : {0, 2}) {
    all.push_back({"two compressed streams read in mode " + std::to_string(mode), sound(),
                   [=] { return readByTwo(mode); },
                   [](const Image& image, Told) { return unchanged(image, sound()); }});
    all.push_back({"a stream is opened again" + std::string(mode == 2 ? ", reading ahead" : ""),
                   {},
                   [=] { return openAgain(mode == 2); },
                   judgeOpenAgain});
    all.push_back({"a compressed stream is used again, reading in mode " + std::to_string(mode),
                   {},
                   [=] { return useAgain(mode / 2, mode); },
                   wholeFile(kBytes + kMore)});
  }
}

}  // namespace

std::vector<Scenario> moreStreamScenarios() {
  std::vector<Scenario> all;
  addEnciphered(all);
  addAgain(all);
  for (Scenario& scenario : damagedStreamScenarios()) {
    all.push_back(std::move(scenario));
  }
  return all;
}

}  // namespace proof
