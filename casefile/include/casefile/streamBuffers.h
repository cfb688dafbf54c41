#ifndef CASEFILE_STREAMBUFFERS_H
#define CASEFILE_STREAMBUFFERS_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <ios>
#include <span>
#include <streambuf>
#include <vector>

#include "casefile/error.h"
#include "casefile/range.h"
#include "casefile/reader.h"
#include "casefile/writer.h"

namespace casefile {

/// A std::streambuf that keeps what was raised in it: streams turn that into badbit.
class ErrorKeepingBuffer : public std::streambuf {
 public:
  /// Raises: what was raised last, if something was.
  void raiseError() const {
    if (error_) {
      std::rethrow_exception(error_);
    }
  }

 protected:
  /// Does the work, and keeps what it raises.
  template <typename Work>
  auto keepingErrors(Work work) {
    try {
      return work();
    } catch (...) {
      error_ = std::current_exception();
      throw;
    }
  }

  /// Returns: what a seek that is refused returns.
  static pos_type refusedPosition() { return pos_type(off_type(-1)); }

 private:
  std::exception_ptr error_;
};

/// What an InputStream reads through: its get area is the decoded block itself.
class InputBuffer : public ErrorKeepingBuffer {
 public:
  /// Reads a range; what lies beyond the end of the data is left out. Raises: Error (`usage`) for a negative range.
  InputBuffer(const Reader& reader, LogicalRange range) : reader_(reader), range_(range), next_(range.start) {
    if (range.start < 0 || range.size < 0) {
      throw Error(ErrorKind::usage, "a range cannot be negative", {{}, "read", {}, {}, {}});
    }
    const std::int64_t size = reader.size();
    range_.size = range.start < size ? std::min(range.size, size - range.start) : 0;
  }

 protected:
  int_type underflow() override {
    return keepingErrors([this] {
      if (gptr() == egptr()) {
        const std::int64_t position = logicalPosition();
        if (position == range_.end()) {
          return traits_type::eof();
        }
        load(position);
      }
      return traits_type::to_int_type(*gptr());
    });
  }

  std::streamsize showmanyc() override {
    const std::int64_t left = range_.end() - logicalPosition();
    return left > 0 ? static_cast<std::streamsize>(left) : -1;
  }

  pos_type seekoff(off_type offset, std::ios_base::seekdir from, std::ios_base::openmode which) override {
    const std::int64_t start = from == std::ios_base::beg   ? 0
                               : from == std::ios_base::cur ? logicalPosition() - range_.start
                                                            : range_.size;
    if ((which & std::ios_base::in) == 0 || offset < -start || offset > range_.size - start) {
      return refusedPosition();
    }
    goTo(range_.start + start + offset);
    return {start + offset};
  }

  pos_type seekpos(pos_type position, std::ios_base::openmode which) override {
    return seekoff(off_type(position), std::ios_base::beg, which);
  }

 private:
  // Of the next character.
  std::int64_t logicalPosition() const { return next_ + (gptr() - eback()); }

  // Without characters the get area lies at `position`.
  void leaveBlock(std::int64_t position) {
    setg(nullptr, nullptr, nullptr);
    next_ = position;
    view_ = {};  // before another block is decoded, so that the memory serves again
  }

  void load(std::int64_t position) {
    leaveBlock(position);
    view_ = reader_.view(position);
    const std::int64_t first = std::max(view_.range.start, range_.start);
    const std::int64_t last = std::min(view_.range.end(), range_.end());
    // Nobody writes there: what is put back must be what was read.
    char* const bytes = const_cast<char*>(reinterpret_cast<const char*>(view_.bytes.data()));
    char* const begin = bytes + (first - view_.range.start);
    next_ = first;
    setg(begin, begin + (position - first), begin + (last - first));
  }

  void goTo(std::int64_t position) {
    if (position >= next_ && position <= next_ + (egptr() - eback())) {
      setg(eback(), eback() + (position - next_), egptr());
    } else {
      leaveBlock(position);
    }
  }

  const Reader& reader_;
  LogicalRange range_;  // what the stream reads
  std::int64_t next_;   // logical position of eback()
  View view_;           // holds the get area's block
};

/// What an OutputStream writes through.
class OutputBuffer : public ErrorKeepingBuffer {
 public:
  /// Requires and raises what OutputStream does.
  explicit OutputBuffer(Writer& writer) : writer_(writer), bytes_(kRoom) {
    writer.write({});  // raises when it is in no state to be written
    if (writer.position() == 0) {
      throw Error(ErrorKind::usage, "the dictionary part comes in front of the case data", {{}, "write", {}, {}, {}});
    }
    setp(bytes_.data(), bytes_.data() + bytes_.size());
  }

  ~OutputBuffer() override {
    try {
      handOver();
    } catch (...) {
      // The Writer has failed and says so when it is finished.
    }
  }
  OutputBuffer(const OutputBuffer&) = delete;
  OutputBuffer& operator=(const OutputBuffer&) = delete;

  /// Hands over what is left and finishes the Writer. Raises: as Writer::finish.
  void finish() {
    handOver();
    writer_.finish();
    bytes_.clear();  // what is written from now on goes to the Writer at once, which refuses it
    handOver();
  }

 protected:
  int_type overflow(int_type letter) override {
    return keepingErrors([this, letter] {
      handOver();
      if (!traits_type::eq_int_type(letter, traits_type::eof())) {
        const char text = traits_type::to_char_type(letter);
        put({&text, 1});
      }
      return traits_type::not_eof(letter);
    });
  }

  std::streamsize xsputn(const char* text, std::streamsize count) override {
    return keepingErrors([this, text, count] {
      put({text, static_cast<std::size_t>(count)});
      return count;
    });
  }

  int sync() override {
    return keepingErrors([this] {
      handOver();
      return 0;
    });
  }

  pos_type seekoff(off_type offset, std::ios_base::seekdir from, std::ios_base::openmode which) override {
    const std::int64_t here = given_ + (pptr() - pbase());
    const bool stays = offset == (from == std::ios_base::beg ? here : 0);
    return (which & std::ios_base::out) != 0 && stays ? pos_type(here) : refusedPosition();
  }

  pos_type seekpos(pos_type position, std::ios_base::openmode which) override {
    return seekoff(off_type(position), std::ios_base::beg, which);
  }

 private:
  static constexpr std::size_t kRoom = std::size_t{64} << 10;

  std::size_t room() const { return static_cast<std::size_t>(epptr() - pptr()); }

  void put(std::span<const char> text) {
    if (text.size() > room()) {
      handOver();
    }
    if (text.size() > room()) {
      give(text);
    } else {
      std::copy(text.begin(), text.end(), pptr());
      pbump(static_cast<int>(text.size()));
    }
  }

  void handOver() {
    give({pbase(), static_cast<std::size_t>(pptr() - pbase())});
    setp(bytes_.data(), bytes_.data() + bytes_.size());
  }

  void give(std::span<const char> text) {
    if (!text.empty()) {
      writer_.write(std::as_bytes(text));
      given_ += static_cast<std::int64_t>(text.size());
    }
  }

  Writer& writer_;
  std::vector<char> bytes_;  // the put area
  std::int64_t given_ = 0;   // bytes that the Writer got
};

}  // namespace casefile

#endif
