#include <cerrno>
#include <cstddef>
#include <cstring>
#include <exception>
#include <optional>
#include <string>
#include <system_error>

#include "Datasource/systemFileException.h"
#include "caseData.h"
#include "failure.h"
#include "fileLock.h"
#include "handleSource.h"
#include "hiddenData.h"
#include "journal.h"
#include "options.h"
#include "plainInput.h"
#include "progress.h"

namespace casefile::program {
namespace {

std::string whoHasLocked(int holder) {
  return (holder == 0 ? "" : " (process " + std::to_string(holder) + ")") +
         ": wait for its end, or end it; it need not be one that may write";
}

// The library's stream behind the case data of a file. Given up before it is finished, it writes no more.
class AppendStream {
 public:
  // Opens the file for writing, which locks out other writers, and writes nothing.
  AppendStream(const FileLock& data, const std::string& file, const Layout& layout)
      : file_(file), place_(layout.place), plain_(data.nameToOpen(), "rb"), stream_(plain_.get()) {
    stream_.readFilePosInfo(place_.row0, place_.swapped);
    stream_.Seek(layout.logicalEnd(), VORN_StrBaseIO::SeekFromStart);
    openForWriting(data, layout.logicalEnd());
  }

  ~AppendStream() {
    stream_.giveUp();  // unless it is finished: the file is between two states and is taken back
  }
  AppendStream(const AppendStream&) = delete;
  AppendStream& operator=(const AppendStream&) = delete;

  void write(const void* bytes, std::size_t count) {
    if (stream_.Write(bytes, count) != count) {
      throw Failure(file_, "takes no more case data");
    }
  }

  void finish() {
    if (stream_.Close() == 0) {
      throw Failure(file_, "could not be finished");
    }
    requireAllFitted(stream_, file_, place_.row0);
  }

 private:
  void openForWriting(const FileLock& data, int64 end) {
    try {
      stream_.setFileToAppend(end, place_.swapped);
    } catch (const SystemFileException&) {
      const int error = errno;
      throw Failure(file_, error == EACCES
                               ? "another program writes to it or has locked it" + whoHasLocked(data.holder())
                               : "cannot be opened for writing: " + systemWords(error));
    }
  }

  std::string file_;
  Place place_;
  OpenStream plain_;
  zcmpsFilestr stream_;
};

int holderOf(const std::string& file) {
  try {
    return files::SystemFile::open(file, files::kOpenRead | files::kOpenNoWait).lockHolder();
  } catch (const std::system_error&) {
    return 0;
  }
}

FileLock claim(const std::string& file) {
  try {
    return FileLock(file);
  } catch (const std::system_error& error) {
    const int number = error.code().value();
    if (number == EBUSY) {
      throw Failure(file, "another append is at work" + whoHasLocked(holderOf(file)));
    }
    const FileSource readable(file);  // a file that cannot be read is told as every command tells it
    throw Failure(file, "cannot be written: " + systemWords(number));
  }
}

Layout layoutOf(ByteSource& source, const AppendOptions& options) {
  Layout layout = readLayout(source, locate(source, options.hint));
  tellLayout(layout, options.file);
  requireReadable(layout, options.file);
  refuseHiddenData(source, layout);
  if (layout.place.row0 == 0) {
    throw Failure(options.file, "has no dictionary part: case data at position 0 cannot be read back");
  }
  return layout;
}

bool sameForm(const Layout& a, const Layout& b) {
  return a.fileSize == b.fileSize && a.faults.empty() == b.faults.empty() &&
         std::memcmp(&a.heading, &b.heading, sizeof a.heading) == 0 && a.records.size() == b.records.size() &&
         (a.records.empty() || std::memcmp(a.records.data(), b.records.data(), a.records.size() * sizeof(bInfo)) == 0);
}

// Before the file was locked against writers that make no claim it may have changed, or have got another name.
void requireUnchanged(FileLock& data, const std::string& file, const Layout& layout) {
  HandleSource source(data.contents(), file);
  if (!data.isNamed(file) || !sameForm(layout, readLayout(source, layout.place))) {
    throw Failure(file, "another program has changed it meanwhile");
  }
}

void writeBehind(FileLock& data, const AppendOptions& options, const Layout& layout, PlainInput& input,
                 std::optional<Journal>& journal) {
  Progress progress(input.size());
  AppendStream stream(data, options.file, layout);
  requireUnchanged(data, options.file, layout);
  journal.emplace(data, options.file, layout);
  while (input.fill()) {
    const std::size_t count = input.available();
    stream.write(input.data(), count);
    input.take(count);
    progress.advance(static_cast<int64>(count));
  }
  stream.finish();
}

void sync(FileLock& data, const std::string& file) {
  if (!data.isNamed(file)) {
    throw Failure(file, "was given to another file meanwhile: nothing is appended");
  }
  try {
    data.sync();
  } catch (const std::system_error& error) {
    throw Failure(file, "cannot be written: " + systemWords(error.code().value()));
  }
}

}  // namespace

int append(const AppendOptions& options) {
  FileLock data = claim(options.file);
  showAs(data.nameToOpen(), options.file);
  if (rollBack(data, options.file)) {
    say(options.file, "an append that had not finished was taken back");
  }
  HandleSource source(data.contents(), options.file);
  const Layout layout = layoutOf(source, options);
  PlainInput input(options.input);
  if (input.status().identity == data.identity()) {
    throw Failure(options.file, "is the input too", kRefused);
  }
  if (!input.fill()) {
    return kDone;  // nothing to append: the file stays as it is
  }
  std::optional<Journal> journal;  // goes behind the stream, which has the file open
  writeBehind(data, options, layout, input, journal);
  raiseLostError(options.file);
  sync(data, options.file);
  journal->finish();
  return kDone;
}

}  // namespace casefile::program
