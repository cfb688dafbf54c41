#include "faults/scenarios.h"

#include <algorithm>
#include <optional>
#include <span>

#include "Datasource/zcmpsFilestr.h"
#include "casefile/casefile.h"
#include "faults/uses.h"
#include "support/allocations.h"
#include "support/oracle.h"

namespace proof {
namespace {

const std::string kOutput = "/disk/out.case";

std::string aboutWhatStays;

// --- what is judged

// A new file by a stream: a failure may leave anything, which the program was told.
std::string judgeStreamWrite(const Image& image, Told told) {
  return told == Told::success ? holds(image, kFile, kBytes) : "";
}

std::string judgeStreamAppend(const Image& image, Told told) {
  return told == Told::success ? holds(image, kFile, kBytes + kMore) : "";
}

// A new file by a Writer or recover(): complete, or what was there before; nothing beside it.
std::string judgeNewFile(const Image& image, Told told, const Image& before, const std::string& name) {
  if (told == Told::success) {
    Image expected = before;
    expected[name] = image.contains(name) ? image.at(name) : Bytes();
    const std::string wrong = holds(image, name, kBytes);
    return wrong.empty() && image != expected ? "something is left beside the file" : wrong;
  }
  // An error behind the rename, as of a folder that cannot be synced, leaves the complete file.
  Image complete = before;
  complete[name] = before.contains(name) ? before.at(name) : Bytes();
  if (image == before) {
    return "";
  }
  return image.size() == complete.size() && holds(image, name, kBytes).empty() ? "" : "a failure left something behind";
}

// What recover() calls incomplete is a sound file all the same.
std::string judgeRecovered(const Image& image, Told told) {
  const auto found = image.find(kOutput);
  if (told == Told::nothing && found != image.end()) {
    return image.size() == 2 && readByTheBook(found->second, kRow0, kBlock).sound ? "" : "a file that is not sound";
  }
  return judgeNewFile(image, told, sound(), kOutput);
}

// The old or the new file, at the latest when the next Appender has opened it.
std::string judgeAppender(const Image& image, Told told) {
  if (told == Told::success) {
    std::string wrong = holds(image, kFile, kBytes + kMore);
    // The journal of an append that has finished may stay, empty, where it cannot be removed.
    const bool alone = image.size() == 1 || (image.size() == 2 && image.contains(kFile + ".journal"));
    return wrong.empty() && !alone ? "something is left beside the file" : wrong;
  }
  MemoryDisk disk(image);
  try {
    casefile::AppenderOptions options;
    options.row0 = kRow0;
    options.threads = 1;
    casefile::Appender::open(kFile, options);
  } catch (const casefile::Error& error) {
    return std::string("the next append is refused: ") + error.what();
  }
  const Image mended = disk.image();
  if (mended.size() != 1) {
    return "something is left beside the file";
  }
  return mended == sound() || holds(mended, kFile, kBytes + kMore).empty() ? "" : "the file is neither old nor new";
}

// --- streams

Told writeByStream(int mode, End end) {
  return useStream([=] {
    bool taken = true;
    VORN_FileStream plain(kFile.c_str(), "wb");
    taken = plain.Write(kDictionary.data(), kDictionary.size()) == kDictionary.size();
    zcmpsFilestr stream(plain);
    stream.setMultiThread(mode);
    stream.setRow0Pos(kRow0);
    stream.Seek(kRow0, VORN_StrBaseIO::SeekFromStart);
    const Bytes data = caseData(kBytes);
    for (std::size_t at = 0; at < data.size() && taken; at += kPiece) {
      const std::size_t size = std::min(kPiece, data.size() - at);
      taken = stream.Write(data.data() + at, size) == size;
    }
    const Told result = finish(stream, end);
    return taken ? result : Told::failure;
  });
}

Told appendByStream(End end) {
  return useStream([=] {
    VORN_FileStream plain(kFile.c_str(), "rb");
    zcmpsFilestr stream(plain);
    stream.readFilePosInfo(kRow0, false);
    const auto at = kRow0 + static_cast<std::int64_t>(kBytes);
    stream.Seek(at, VORN_StrBaseIO::SeekFromStart);
    stream.setFileToAppend(at, false);
    const Bytes data = caseData(kMore, kBytes);
    const bool taken = stream.Write(data.data(), data.size()) == data.size();
    const Told result = finish(stream, end);
    return taken ? result : Told::failure;
  });
}

Told readByStream(int mode, End end) {
  return useStream([=] {
    VORN_FileStream plain(kFile.c_str(), "rb");
    zcmpsFilestr stream(plain);
    stream.setMultiThread(mode);
    stream.readFilePosInfo(kRow0, false);
    const Bytes expected = logical(kBytes);
    auto at = static_cast<std::size_t>(kRow0);
    stream.Seek(kRow0, VORN_StrBaseIO::SeekFromStart);
    Bytes piece(kPiece);
    for (std::size_t got = 1; got > 0; at += got) {
      got = stream.Read(piece.data(), piece.size());
      requireRight(piece.data(), got, at, expected);
    }
    const Told result = finish(stream, end);
    if (result == Told::success && !anythingReported() && at != expected.size()) {
      tellWrong("an end without a word", at);
    }
    return result;
  });
}

// The same file as plain bytes, with a worker that reads ahead.
Told readAhead() {
  return useStream([] {
    const Bytes expected = sound().at(kFile);
    VORN_FileStream stream(kFile.c_str(), "rb");
    stream.EnableMultiThreadReading();
    Bytes piece(kPiece);
    std::size_t at = 0;
    for (std::size_t got = 1; got > 0; at += got) {
      got = stream.Read(piece.data(), piece.size());
      requireRight(piece.data(), got, at, expected);
    }
    const bool atEnd = stream.EndOfFile() != 0 && at == expected.size();
    return told(stream.Close() == 1 && atEnd);
  });
}

// Two streams that share a file: what one writes and flushes the other reads.
Told shareFile() {
  return useStream([] {
    const Bytes data = caseData(kBytes);
    VORN_FileStream writer(kFile.c_str(), "w+b");
    VORN_FileStream reader(writer);
    bool well = writer.Write(data.data(), data.size()) == data.size() && writer.Flush() == 1;
    Bytes piece(kPiece);
    std::size_t at = 0;
    for (std::size_t got = 1; got > 0; at += got) {
      got = reader.Read(piece.data(), piece.size());
      requireRight(piece.data(), got, at, data);
    }
    well = well && at == data.size();
    return told(writer.Close() == 1 && well);
  });
}

std::string judgeShared(const Image& image, Told told) {
  return told != Told::success || image.at(kFile) == caseData(kBytes) ? "" : "success was told, and the file is wrong";
}

// --- the casefile library

casefile::ProgressCallback stopAfter(int calls) {
  if (calls == 0) {
    return {};
  }
  return [calls, seen = 0](const casefile::Progress& /*progress*/) mutable {
    return ++seen == calls ? casefile::Next::stop : casefile::Next::proceed;
  };
}

// Gives up, and asks what could not be removed.
void giveUp(casefile::Writer& writer) {
  writer.cancel();
  if (const auto left = writer.leftBehind()) {
    const HarnessAllocations own;
    aboutWhatStays = left->what();
  }
}

Told useWriter(casefile::Writer& writer, End end) {
  writer.writeDictionary(std::as_bytes(std::span(kDictionary)));
  const Bytes data = caseData(kBytes);
  writer.write(bytesOf(data));
  if (end == End::close) {
    writer.finish();
    return Told::success;
  }
  if (end == End::giveUp) {
    giveUp(writer);
  }
  return Told::nothing;
}

Told writeByWriter(std::size_t threads, bool sync, End end) {
  aboutWhatStays.clear();
  casefile::WriterOptions options;
  options.threads = threads;
  options.sync = sync;
  casefile::Writer writer = casefile::Writer::create(kFile, options);
  try {
    return useWriter(writer, end);
  } catch (...) {
    if (end != End::destroy) {
      giveUp(writer);
    }
    throw;
  }
}

Told appendByAppender(std::size_t threads, End end, int stopAt) {
  casefile::AppenderOptions options;
  options.row0 = kRow0;
  options.threads = threads;
  options.progress = stopAfter(stopAt);
  casefile::Appender appender = casefile::Appender::open(kFile, options);
  const Bytes data = caseData(kMore, kBytes);
  appender.write(bytesOf(data));
  if (end == End::close) {
    appender.finish();
    return Told::success;
  }
  if (end == End::giveUp) {
    appender.cancel();
  }
  return Told::nothing;
}

Told readByReader(std::size_t threads, bool finds) {
  casefile::ReaderOptions options;
  options.threads = threads;
  if (!finds) {
    options.row0 = kRow0;
  }
  const casefile::Reader reader = casefile::Reader::open(kFile, options);
  const Bytes expected = logical(kBytes);
  std::size_t next = 0;
  reader.read({0, reader.size()}, [&](std::span<const std::byte> bytes, std::int64_t position) {
    next = static_cast<std::size_t>(position) + bytes.size();
    requireRight(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), static_cast<std::size_t>(position),
                 expected);
  });
  Bytes piece(kPiece);
  for (const std::int64_t at : {std::int64_t{5000}, std::int64_t{3}, std::int64_t{8000}}) {
    const std::size_t got = reader.readAt(std::as_writable_bytes(std::span(piece)), at);
    requireRight(piece.data(), got, static_cast<std::size_t>(at), expected);
  }
  if (next != expected.size()) {
    tellWrong("an end without a word", next);
  }
  return Told::success;
}

Told verifyFile(std::size_t threads) {
  casefile::VerifyOptions options;
  options.threads = threads;
  options.row0 = kRow0;
  // A file that ends too early is damaged.
  return casefile::verify(kFile, options).sound() ? Told::success : Told::failure;
}

Told recoverFile(std::size_t threads) {
  casefile::RecoverOptions options;
  options.threads = threads;
  options.row0 = kRow0;
  return casefile::recover(kFile, kOutput, options).complete() ? Told::success : Told::nothing;
}

Told unpackFile(std::size_t threads) {
  casefile::ReaderOptions options;
  options.threads = threads;
  options.row0 = kRow0;
  casefile::UnpackOptions how;
  how.sync = true;
  casefile::unpack(casefile::Reader::open(kFile, options), kOutput, how);
  return Told::success;
}

// Complete or not there; an error behind the rename, as of a folder that cannot be synced, leaves the complete file.
std::string judgeUnpacked(const Image& image, Told told) {
  if (told != Told::success && image == sound()) {
    return "";
  }
  Image complete = sound();
  complete[kOutput] = logical(kBytes);
  return image == complete ? "" : "what was unpacked is neither complete nor gone";
}

void addStreams(std::vector<Scenario>& all) {
  for (const End end : {End::close, End::destroy, End::unwind, End::giveUp}) {
    const std::string how = std::string(", ") + nameOf(end);
    for (const int mode : {0, 1}) {
      all.push_back({"a stream writes in mode " + std::to_string(mode) + how,
                     {},
                     [=] { return writeByStream(mode, end); },
                     judgeStreamWrite});
    }
    all.push_back({"a stream appends" + how, sound(), [=] { return appendByStream(end); }, judgeStreamAppend});
    for (const int mode : {0, 2}) {
      all.push_back({"a stream reads in mode " + std::to_string(mode) + how, sound(),
                     [=] { return readByStream(mode, end); },
                     [](const Image& image, Told) { return unchanged(image, sound()); }});
    }
  }
  all.push_back(
      {"a stream reads ahead", sound(), readAhead, [](const Image& image, Told) { return unchanged(image, sound()); }});
  all.push_back({"two streams share a file", {{kFile, {}}}, shareFile, judgeShared});
}

// What there is so far, where an assertion ends the operation.
void addWithThrowingHandler(std::vector<Scenario>& all) {
  const std::size_t count = all.size();
  for (std::size_t i = 0; i < count; ++i) {
    Scenario scenario = all[i];
    scenario.name = "assertions throw: " + scenario.name;
    scenario.act = [act = all[i].act] {
      const ThrowingHandler throwing;
      return act();
    };
    all.push_back(std::move(scenario));
  }
}

void addLibrary(std::vector<Scenario>& all, std::size_t threads) {
  const std::string with = ", threads " + std::to_string(threads);
  const auto onlyReads = [](const Image& image, Told) { return unchanged(image, sound()); };
  for (const End end : {End::close, End::destroy, End::giveUp}) {
    const std::string how = with + ", " + nameOf(end);
    for (const Image& before : {Image{}, Image{{kFile, Bytes(100, 'o')}}}) {
      all.push_back({"a Writer" + how + (before.empty() ? "" : ", over another file"), before,
                     [=] { return writeByWriter(threads, !before.empty(), end); },
                     [=](const Image& image, Told told) { return judgeNewFile(image, told, before, kFile); },
                     end != End::destroy});
    }
    all.push_back({"an Appender" + how, sound(), [=] { return appendByAppender(threads, end, 0); }, judgeAppender});
  }
  for (const int stopAt : {1, 2}) {
    all.push_back({"an Appender" + with + ", stopped at block " + std::to_string(stopAt), sound(),
                   [=] { return appendByAppender(threads, End::close, stopAt); }, judgeAppender});
  }
  for (const bool finds : {false, true}) {
    all.push_back({std::string("a Reader") + (finds ? " that finds row 0" : "") + with, sound(),
                   [=] { return readByReader(threads, finds); }, onlyReads});
  }
  all.push_back({"verify" + with, sound(), [=] { return verifyFile(threads); }, onlyReads});
  all.push_back({"recover" + with, sound(), [=] { return recoverFile(threads); }, judgeRecovered, true});
  all.push_back({"unpack" + with, sound(), [=] { return unpackFile(threads); }, judgeUnpacked, true});
}

}  // namespace

std::vector<Scenario> allScenarios(std::size_t threads) {
  std::vector<Scenario> all;
  addStreams(all);
  addWithThrowingHandler(all);
  for (Scenario& scenario : moreStreamScenarios()) {
    all.push_back(std::move(scenario));
  }
  addLibrary(all, 1);
  addLibrary(all, threads);
  return all;
}

const std::string& wordsAboutWhatStays() { return aboutWhatStays; }

}  // namespace proof
