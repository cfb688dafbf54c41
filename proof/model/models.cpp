#include "model/models.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Datasource/fileStream.h"
#include "Datasource/zcmpsFilestr.h"
#include "casefile/casefile.h"
#include "support/memoryDisk.h"
#include "support/oracle.h"

namespace proof {
namespace {

const std::string kFile = "/disk/file.case";
const std::string kOutput = "/disk/other.case";
constexpr std::size_t kSmallBlock = 4096;

[[noreturn]] void refuse(const std::string& what) { throw std::logic_error(what); }
void require(bool holds, const std::string& what) {
  if (!holds) {
    refuse(what);
  }
}

// A compressed file, and all that it should hold.
class CompressedModel {
 public:
  CompressedModel(Choices& choices, std::string& trace) : choices_(choices), trace_(trace) {}

  void run() {
    create();
    for (int step = 0; step < kModelSteps && !choices_.exhausted(); ++step) {
      const std::array<std::pair<const char*, void (CompressedModel::*)()>, 9> steps{
          {{"read by stream", &CompressedModel::readByStream},
           {"read by Reader", &CompressedModel::readByReader},
           {"read in order", &CompressedModel::readInOrder},
           {"append by stream", &CompressedModel::appendByStream},
           {"append by Appender", &CompressedModel::appendByAppender},
           {"cancel an append", &CompressedModel::cancelAppend},
           {"verify", &CompressedModel::verify},
           {"recover", &CompressedModel::recover},
           {"divide", &CompressedModel::divide}}};
      const auto& [name, act] = steps[choices_.below(steps.size())];
      trace_ += std::string("; ") + name;
      (this->*act)();
      check();
    }
  }

 private:
  std::int64_t end() const { return static_cast<std::int64_t>(all_.size()); }
  std::size_t threads() { return 1 + choices_.below(3); }

  // After every step the file is sound by the book, and nothing lies beside it.
  void check() {
    const Image image = disk_.image();
    require(image.size() == 1, "something is left beside the file");
    const Contents contents = readByTheBook(image.at(kFile), row0_, kSmallBlock);
    require(contents.sound, "the file is not sound");
    require(contents.logical() == all_, "the file holds something else");
    require(disk_.openDescriptors() == 0, "a descriptor stays open");
  }

  void create() {
    const Bytes dictionary = choices_.bytes(1 + choices_.below(100));
    const Bytes data = choices_.bytes(choices_.size());
    row0_ = static_cast<std::int64_t>(dictionary.size());
    all_ = dictionary;
    all_.insert(all_.end(), data.begin(), data.end());
    if (choices_.below(2) == 0) {
      trace_ = "write by stream";
      writeByStream(dictionary, data);
    } else {
      trace_ = "write by Writer";
      casefile::WriterOptions options;
      options.threads = threads();
      casefile::Writer writer = casefile::Writer::create(kFile, options);
      writer.writeDictionary(bytesOf(dictionary));
      inPieces(data, [&](const unsigned char* bytes, std::size_t count) {
        writer.write(std::as_bytes(std::span(bytes, count)));
      });
      writer.finish();
    }
    check();
  }

  void inPieces(const Bytes& data, const std::function<void(const unsigned char*, std::size_t)>& give) {
    for (std::size_t at = 0; at < data.size();) {
      const std::size_t count = std::min(1 + choices_.size(), data.size() - at);
      give(data.data() + at, count);
      at += count;
    }
  }

  void writeByStream(const Bytes& dictionary, const Bytes& data) {
    VORN_FileStream plain(kFile.c_str(), "wb");
    plain.Write(dictionary.data(), dictionary.size());
    zcmpsFilestr stream(plain);
    stream.setMultiThread(static_cast<int>(choices_.below(2)));
    stream.setRow0Pos(row0_);
    stream.Seek(row0_, VORN_StrBaseIO::SeekFromStart);
    inPieces(data, [&](const unsigned char* bytes, std::size_t count) {
      require(stream.Write(bytes, count) == count, "a write takes less");
    });
    require(stream.Close() == 1, "Close gives 0");
  }

  void readByStream() {
    VORN_FileStream plain(kFile.c_str(), "rb");
    zcmpsFilestr stream(plain);
    stream.setMultiThread(static_cast<int>(choices_.below(2)) * 2);
    stream.readFilePosInfo(row0_, false);
    for (int i = 0; i < 5; ++i) {
      const std::size_t cases = all_.size() - static_cast<std::size_t>(row0_);
      auto at = static_cast<std::size_t>(row0_) + choices_.below(cases + 1);
      stream.Seek(static_cast<std::int64_t>(at), VORN_StrBaseIO::SeekFromStart);
      Bytes piece(std::min<std::size_t>(1 + choices_.below(kSmallBlock), all_.size() - at));
      std::size_t got = piece.empty() ? 0 : stream.Read(piece.data(), piece.size());
      require(got == piece.size(), "a stream reads less");
      require(std::equal(piece.begin(), piece.end(), all_.begin() + static_cast<std::ptrdiff_t>(at)),
              "a stream reads something else");
    }
  }

  casefile::Reader open() {
    casefile::ReaderOptions options;
    options.threads = threads();
    options.cacheBytes = choices_.below(4) * kSmallBlock;
    if (choices_.below(2) == 0) {
      options.row0 = row0_;
    }
    casefile::Reader reader = casefile::Reader::open(kFile, options);
    require(reader.row0() == row0_ && reader.size() == end(), "a Reader finds other limits");
    return reader;
  }

  void readByReader() {
    const casefile::Reader reader = open();
    for (int i = 0; i < 5; ++i) {
      const std::size_t at = choices_.below(all_.size() + 10);
      Bytes piece(choices_.size());
      const std::size_t expected = at >= all_.size() ? 0 : std::min(piece.size(), all_.size() - at);
      const std::size_t got = reader.readAt(std::as_writable_bytes(std::span(piece)), static_cast<std::int64_t>(at));
      require(got == expected, "a Reader reads less, or more");
      require(std::equal(piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(got),
                         all_.begin() + static_cast<std::ptrdiff_t>(std::min(at, all_.size()))),
              "a Reader reads something else");
    }
  }

  void readInOrder() {
    const casefile::Reader reader = open();
    const std::size_t from = choices_.below(all_.size());
    const std::size_t count = choices_.below(all_.size() - from + 1);
    Bytes got;
    reader.read({static_cast<std::int64_t>(from), static_cast<std::int64_t>(count)},
                [&](std::span<const std::byte> bytes, std::int64_t position) {
                  require(position == static_cast<std::int64_t>(from + got.size()), "a piece comes out of order");
                  const auto* const first = reinterpret_cast<const unsigned char*>(bytes.data());
                  got.insert(got.end(), first, first + bytes.size());
                });
    require(got.size() == count && std::equal(got.begin(), got.end(), all_.begin() + static_cast<std::ptrdiff_t>(from)),
            "a range reads as something else");
  }

  // Also with an end inside the last block, which drops what is behind it.
  void appendByStream() {
    const Bytes more = choices_.bytes(choices_.size());
    const std::size_t cases = all_.size() - static_cast<std::size_t>(row0_);
    const std::size_t last = cases % kSmallBlock;
    const std::size_t dropped = choices_.below(3) == 0 && last > 1 ? choices_.below(last) : 0;
    all_.resize(all_.size() - dropped);
    VORN_FileStream plain(kFile.c_str(), "rb");
    zcmpsFilestr stream(plain);
    stream.readFilePosInfo(row0_, false);
    stream.Seek(end(), VORN_StrBaseIO::SeekFromStart);
    stream.setFileToAppend(end(), false);
    inPieces(more, [&](const unsigned char* bytes, std::size_t count) {
      require(stream.Write(bytes, count) == count, "an append takes less");
    });
    require(stream.Close() == 1, "Close of an append gives 0");
    all_.insert(all_.end(), more.begin(), more.end());
  }

  casefile::Appender openAppender() {
    casefile::AppenderOptions options;
    options.threads = threads();
    if (choices_.below(2) == 0) {
      options.row0 = row0_;
    }
    casefile::Appender appender = casefile::Appender::open(kFile, options);
    require(appender.row0() == row0_ && appender.position() == end() && !appender.tookBack(),
            "an Appender finds other limits");
    return appender;
  }

  void appendByAppender() {
    const Bytes more = choices_.bytes(choices_.size());
    casefile::Appender appender = openAppender();
    inPieces(more, [&](const unsigned char* bytes, std::size_t count) {
      appender.write(std::as_bytes(std::span(bytes, count)));
    });
    appender.finish();
    require(!appender.leftBehind(), "an append leaves a journal behind");
    all_.insert(all_.end(), more.begin(), more.end());
  }

  void cancelAppend() {
    const Bytes before = disk_.image().at(kFile);
    {
      casefile::Appender appender = openAppender();
      appender.write(bytesOf(choices_.bytes(choices_.size())));
      if (choices_.below(2) == 0) {
        appender.cancel();
      }
    }
    require(disk_.image().at(kFile) == before, "an append that was given up changes the file");
  }

  void verify() {
    casefile::VerifyOptions options;
    options.threads = threads();
    const casefile::Verification told = casefile::verify(kFile, options);
    require(told.sound() && told.row0 == row0_ && told.row0 + told.caseBytes == end(), "verify calls it damaged");
  }

  // What is recovered of a sound file holds the same; then it goes.
  void recover() {
    casefile::RecoverOptions options;
    options.threads = threads();
    require(casefile::recover(kFile, kOutput, options).complete(), "recover calls it incomplete");
    const Contents contents = readByTheBook(disk_.image().at(kOutput), row0_, kSmallBlock);
    require(contents.sound && contents.logical() == all_, "recover makes something else");
    disk_.remove(kOutput);
  }

  void divide() {
    const casefile::Reader reader = open();
    const auto record = static_cast<std::int64_t>(1 + choices_.below(200));
    const std::size_t count = 1 + choices_.below(6);
    std::int64_t next = row0_;
    const auto ranges = reader.partitions(count, record);
    for (const casefile::LogicalRange& range : ranges) {
      require(range.start == next && range.size > 0 && (range.start - row0_) % record == 0,
              "partitions overlap, leave something out or cut a record");
      next += range.size;
    }
    require(next == end() && ranges.size() <= count, "partitions do not cover the case data");
  }

  Choices& choices_;
  std::string& trace_;
  MemoryDisk disk_;
  std::int64_t row0_ = 0;
  Bytes all_;  // dictionary part and case data
};

// A plain file through one stream.
class PlainModel {
 public:
  PlainModel(Choices& choices, std::string& trace) : choices_(choices), trace_(trace), disk_(Image{{kFile, Bytes()}}) {}

  void run() {
    trace_ = "plain";
    {
      VORN_FileStream stream(kFile.c_str(), "r+b");
      for (int step = 0; step < 3 * kModelSteps && !choices_.exhausted(); ++step) {
        act(stream);
      }
      require(stream.Close() == 1, "Close gives 0");
    }
    require(disk_.image().at(kFile) == all_, "the file holds something else");
    require(disk_.openDescriptors() == 0, "a descriptor stays open");
  }

 private:
  void act(VORN_FileStream& stream) {
    switch (choices_.below(4)) {
      case 0: {
        at_ = choices_.below(all_.size() + 1);
        trace_ += "; seek " + std::to_string(at_);
        stream.Seek(static_cast<std::int64_t>(at_), VORN_StrBaseIO::SeekFromStart);
        break;
      }
      case 1:
        trace_ += "; flush";
        stream.Flush();
        break;
      case 2:
        write(stream);
        break;
      default:
        read(stream);
        break;
    }
    require(stream.Tell() == static_cast<std::int64_t>(at_), "Tell gives " + std::to_string(stream.Tell()));
  }

  void write(VORN_FileStream& stream) {
    const Bytes bytes = choices_.bytes(std::min<std::size_t>(choices_.size(), kSmallBlock - 1));
    trace_ += "; write " + std::to_string(bytes.size());
    // A write of a block or more goes past the buffer, and a read then sees it only behind a flush: kept so.
    require(stream.Write(bytes.data(), bytes.size()) == bytes.size(), "a write takes less");
    all_.resize(std::max(all_.size(), at_ + bytes.size()));
    std::copy(bytes.begin(), bytes.end(), all_.begin() + static_cast<std::ptrdiff_t>(at_));
    at_ += bytes.size();
    stream.Flush();
  }

  void read(VORN_FileStream& stream) {
    Bytes piece(choices_.size());
    trace_ += "; read " + std::to_string(piece.size());
    const std::size_t got = stream.Read(piece.data(), piece.size());
    require(got == std::min(piece.size(), all_.size() - at_), "a read gives " + std::to_string(got));
    require(std::equal(piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(got),
                       all_.begin() + static_cast<std::ptrdiff_t>(at_)),
            "a read gives something else");
    at_ += got;
  }

  Choices& choices_;
  std::string& trace_;
  MemoryDisk disk_;
  Bytes all_;
  std::size_t at_ = 0;
};

}  // namespace

std::size_t Choices::size() {
  switch (below(4)) {
    case 0:
      return below(20);
    case 1:
      return below(3) * kSmallBlock + below(3);
    case 2:
      return std::max<std::size_t>(below(3) * kSmallBlock, 1) - 1;
    default:
      return below(3 * kSmallBlock);
  }
}

void runCompressedModel(Choices& choices, std::string& trace) { CompressedModel(choices, trace).run(); }

void runPlainModel(Choices& choices, std::string& trace) { PlainModel(choices, trace).run(); }

void failAssertion(const wchar_t* text, const wchar_t* /*file*/, unsigned int /*line*/) {
  std::string narrow;
  for (; *text != L'\0'; ++text) {
    narrow += static_cast<char>(*text);
  }
  refuse("an assertion: " + narrow);
}

}  // namespace proof
