// The C interface's sources, readers, lines and reports, by right calls and wrong ones in any order, upon an edited
// file whose bytes come out of memory or from callbacks that fail, fall short or tell too much.

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "casefile/c.h"
#include "damage/damaged.h"
#include "fuzz/cAnswers.h"
#include "fuzz/input.h"
#include "fuzz/target.h"
#include "fuzz/wholeFiles.h"

namespace proof {
namespace {

constexpr int kMostCalls = 24;

// A program's own file. It lives until the last reader of it is freed.
struct Callbacks {
  const SparseBytes& bytes;
  std::int64_t length;
  std::size_t calls = 0;
  std::size_t failing = 0;  // the number of the call that fails; 0: none
  std::size_t most = 0;     // so many bytes a call gives; 0: all
  bool tellsTooMuch = false;
  std::size_t kept = 0;  // sources that will be released
};

std::int32_t tellLength(void* user, std::int64_t* length) {
  *length = static_cast<Callbacks*>(user)->length;
  return 0;
}

std::int32_t giveBytes(void* user, void* buffer, std::size_t size, std::int64_t position, std::size_t* done) {
  auto& own = *static_cast<Callbacks*>(user);
  if (++own.calls == own.failing) {
    *done = size + 1;
    return own.tellsTooMuch ? 0 : EIO;
  }
  const std::size_t count = own.most == 0 ? size : std::min(size, own.most);
  *done = own.bytes.read(static_cast<unsigned char*>(buffer), count, position);
  return 0;
}

void release(void* user) { --static_cast<Callbacks*>(user)->kept; }

class Reading {
 public:
  Reading(Input& input, const Damaged& damaged, const Shape& shape)
      : input_(input),
        answers_(input),
        damaged_(damaged),
        shape_(shape),
        own_{damaged.file(), damaged.file().size()},
        memory_(damaged.file().bytes()) {}

  std::string run();

 private:
  void openSource();
  void openReader();
  void readAt();
  void readAll();
  void lookAround();
  void divide();
  void openLines();
  void nextLines();
  void inspect();
  void verify();
  void makeReady();

  static std::int32_t take(void* user, const void* bytes, std::size_t size, std::int64_t position);
  static std::int32_t watch(void* user, const casefile_progress* progress);
  void judge(const void* bytes, std::size_t size, std::int64_t position);
  std::int64_t position() {
    return input_.below(8) == 0 ? input_.number() : static_cast<std::int64_t>(input_.below(end_ + 100));
  }
  std::size_t size() { return input_.below(std::size_t{1} << input_.below(15)); }

  Input& input_;
  CAnswers answers_;
  const Damaged& damaged_;
  const Shape& shape_;
  Callbacks own_;
  Bytes memory_;
  Tally tally_;
  std::unique_ptr<casefile_source, FreedBy<casefile_source_free>> source_;
  std::unique_ptr<casefile_reader, FreedBy<casefile_reader_free>> reader_;
  std::unique_ptr<casefile_lines, FreedBy<casefile_lines_free>> lines_;  // before the reader
  std::int64_t line_ = 0;                                                // where the next one begins
  std::size_t end_ = 0;                                                  // of the data, as the reader tells
  std::size_t stop_ = 0;                                                 // the callback that says stop; 0: none
  bool isJudged_ = false;  // whether the reader reads the case data that are known
};

void Reading::judge(const void* bytes, std::size_t size, std::int64_t position) {
  if (isJudged_) {
    answers_.note(damaged_.judge(position, static_cast<const unsigned char*>(bytes), size, tally_));
  }
}

std::int32_t Reading::take(void* user, const void* bytes, std::size_t size, std::int64_t position) {
  auto& reading = *static_cast<Reading*>(user);
  reading.judge(bytes, size, position);
  return reading.stop_ > 0 && --reading.stop_ == 0 ? 1 : 0;
}

std::int32_t Reading::watch(void* user, const casefile_progress* progress) {
  auto& reading = *static_cast<Reading*>(user);
  if (progress->phase < CASEFILE_SEARCHING || progress->phase > CASEFILE_FINISHING || progress->bytes_done < 0) {
    reading.answers_.note("progress tells what cannot be");
  }
  return reading.stop_ > 0 && --reading.stop_ == 0 ? 1 : 0;
}

void Reading::openSource() {
  casefile_source* made = nullptr;
  if (input_.below(2) == 0) {
    answers_.succeeded("from_memory",
                       casefile_source_from_memory(memory_.data(), memory_.size(), answers_.orNull("file"),
                                                   answers_.orNull(&made), answers_.error()));
    source_.reset(made);
    return;
  }
  own_.failing = input_.below(2) == 0 ? 0 : 1 + input_.below(40);
  own_.tellsTooMuch = input_.below(4) == 0;
  own_.most = input_.below(4) == 0 ? 1 + input_.below(5000) : 0;
  casefile_source_callbacks callbacks;
  casefile_source_callbacks_init(&callbacks, sizeof callbacks);
  callbacks.user = &own_;
  callbacks.length = answers_.orNull(&tellLength);
  callbacks.read_at = answers_.orNull(&giveBytes);
  callbacks.release = input_.below(2) == 0 ? nullptr : &release;
  if (answers_.succeeded("from_callbacks",
                         casefile_source_from_callbacks(answers_.orNull(&callbacks), answers_.orNull("file"), &made,
                                                        answers_.error()))) {
    own_.kept += callbacks.release != nullptr ? 1 : 0;
  }
  source_.reset(made);
}

void Reading::openReader() {
  lines_.reset();
  reader_.reset();
  casefile_reader_options options;
  casefile_reader_options_init(&options, sizeof options);
  options.threads = 1;
  options.cache_bytes = input_.below(4) * kSmallBlock;
  options.row0 = input_.below(4) == 0 ? position() : shape_.row0;
  options.row0 = input_.below(4) == 0 ? -1 : options.row0;
  options.byte_order = shape_.otherOrder ? CASEFILE_OTHER_BYTE_ORDER : CASEFILE_THIS_MACHINES_BYTE_ORDER;
  options.byte_order = input_.below(4) == 0 ? static_cast<std::int32_t>(input_.below(5)) - 1 : options.byte_order;
  options.progress = input_.below(2) == 0 ? nullptr : &watch;
  options.progress_user = this;
  stop_ = input_.below(4) == 0 ? 1 + input_.below(4) : 0;
  casefile_reader* made = nullptr;
  answers_.succeeded("reader_open",
                     casefile_reader_open_source(source_.get(), &options, answers_.orNull(&made), answers_.error()));
  reader_.reset(made);
  casefile_reader_info info{};
  const casefile_status told = casefile_reader_get_info(made, &info, sizeof info, answers_.error());
  isJudged_ = answers_.succeeded("reader_get_info", told) && info.row0 == shape_.row0 &&
              (info.swapped != 0) == shape_.otherOrder;
  end_ = static_cast<std::size_t>(std::clamp<std::int64_t>(info.size, 0, std::int64_t{1} << 20));
}

void Reading::readAt() {
  Bytes piece(size());
  const std::int64_t at = position();
  std::size_t done = 0;
  stop_ = input_.below(4) == 0 ? 1 + input_.below(4) : 0;
  const bool isMuch = input_.below(2) == 0;
  void* const room = piece.empty() ? nullptr : answers_.orNull(piece.data());
  const casefile_status status =
      isMuch ? casefile_reader_read_into(reader_.get(), room, piece.size(), at, answers_.orNull(&done),
                                         answers_.orNull(&watch), this, answers_.error())
             : casefile_reader_read_at(reader_.get(), room, piece.size(), at, answers_.orNull(&done), answers_.error());
  if (answers_.succeeded(isMuch ? "reader_read_into" : "reader_read_at", status)) {
    if (done > piece.size()) {
      answers_.note("a read gives more than there is room for");
      return;
    }
    judge(piece.data(), done, at);
  }
}

void Reading::readAll() {
  stop_ = input_.below(2) == 0 ? 1 + input_.below(8) : 0;
  const auto function = input_.below(2) == 0 ? &casefile_reader_read : &casefile_reader_read_unordered;
  const std::int64_t start = position();
  const std::int64_t count = input_.below(2) == 0 ? input_.number() : static_cast<std::int64_t>(size());
  answers_.succeeded("reader_read", function(reader_.get(), start, count, answers_.orNull(&take),
                                             answers_.orNull(&watch), this, answers_.error()));
}

void Reading::lookAround() {
  casefile_block block{};
  answers_.succeeded("reader_get_block", casefile_reader_get_block(reader_.get(), input_.below(300),
                                                                   answers_.orNull(&block), answers_.error()));
  Bytes room(size());
  std::size_t length = 0;
  if (answers_.succeeded("reader_get_dictionary",
                         casefile_reader_get_dictionary(reader_.get(), answers_.orNull(room.data()), room.size(),
                                                        answers_.orNull(&length), answers_.error()))) {
    judge(room.data(), std::min(room.size(), length), 0);
  }
}

void Reading::divide() {
  std::vector<casefile_range> ranges(input_.below(40));
  std::size_t found = 0;
  const std::int64_t record = input_.below(2) == 0 ? input_.number() : static_cast<std::int64_t>(input_.below(100));
  if (answers_.succeeded("reader_get_partitions",
                         casefile_reader_get_partitions(reader_.get(), ranges.size(), record,
                                                        answers_.orNull(ranges.data()), &found, answers_.error())) &&
      found > ranges.size()) {
    answers_.note("more ranges than were asked for");
  }
}

void Reading::openLines() {
  casefile_lines* made = nullptr;
  line_ = position();
  answers_.succeeded("lines_open", casefile_lines_open(reader_.get(), line_, input_.number(), answers_.orNull(&made),
                                                       answers_.error()));
  lines_.reset(made);
}

void Reading::nextLines() {
  for (std::size_t i = 1 + input_.below(20); i > 0; --i) {
    const char* line = nullptr;
    std::size_t length = 0;
    if (!answers_.succeeded("lines_next", casefile_lines_next(lines_.get(), &line, &length, answers_.error())) ||
        line == nullptr) {
      return;
    }
    if (line[length] != '\0') {
      answers_.note("a line without a null byte behind it");
    }
    judge(line, length, line_);
    line_ += static_cast<std::int64_t>(length) + 1;
  }
}

void Reading::inspect() {
  casefile_check_options options;
  casefile_check_options_init(&options, sizeof options);
  options.row0 = input_.below(2) == 0 ? -1 : shape_.row0;
  casefile_inspection* made = nullptr;
  answers_.succeeded("inspect", casefile_inspect_source(source_.get(), answers_.orNull(&options),
                                                        answers_.orNull(&made), answers_.error()));
  const std::unique_ptr<casefile_inspection, FreedBy<casefile_inspection_free>> report(made);
  casefile_inspection_info info{};
  answers_.succeeded(
      "inspection_get_info",
      casefile_inspection_get_info(made, answers_.orNull(&info), input_.below(sizeof info + 1), answers_.error()));
  casefile_block block{};
  answers_.succeeded("inspection_get_block",
                     casefile_inspection_get_block(made, input_.below(300), &block, answers_.error()));
  casefile_fault fault{};
  if (answers_.succeeded("inspection_get_fault", casefile_inspection_get_fault(made, input_.below(8), &fault,
                                                                               sizeof fault, answers_.error())) &&
      (fault.what == nullptr || *fault.what == '\0')) {
    answers_.note("a fault without words");
  }
}

void Reading::verify() {
  casefile_check_options options;
  casefile_check_options_init(&options, sizeof options);
  options.threads = 1;
  options.row0 = shape_.row0;
  options.byte_order = shape_.otherOrder ? CASEFILE_OTHER_BYTE_ORDER : CASEFILE_THIS_MACHINES_BYTE_ORDER;
  options.progress = &watch;
  options.progress_user = this;
  stop_ = input_.below(4) == 0 ? 1 + input_.below(8) : 0;
  casefile_verification* made = nullptr;
  answers_.succeeded("verify", casefile_verify_source(source_.get(), &options, &made, answers_.error()));
  const std::unique_ptr<casefile_verification, FreedBy<casefile_verification_free>> report(made);
  casefile_verification_info info{};
  if (!answers_.succeeded("verification_get_info",
                          casefile_verification_get_info(made, &info, sizeof info, answers_.error()))) {
    return;
  }
  const std::size_t index = input_.below(info.faults + 2);
  casefile_fault fault{};
  if (answers_.succeeded("verification_get_fault",
                         casefile_verification_get_fault(made, index, &fault, sizeof fault, answers_.error())) !=
      (index < info.faults)) {
    answers_.note("another count of faults than it tells");
  }
  casefile_range lost{};
  answers_.succeeded("verification_get_lost",
                     casefile_verification_get_lost(made, input_.below(info.lost + 2), &lost, answers_.error()));
}

// Options of any size that a program may believe them to have.
void Reading::makeReady() {
  alignas(std::max_align_t) unsigned char room[256];
  auto* const options = reinterpret_cast<casefile_reader_options*>(room);
  const std::size_t told = input_.below(sizeof room + 1);
  std::fill(std::begin(room), std::end(room), static_cast<unsigned char>(0x5A));
  casefile_reader_options_init(answers_.orNull(options), told);
  if (std::any_of(room + told, std::end(room), [](unsigned char byte) { return byte != 0x5A; })) {
    answers_.note("defaults are written behind the structure's end");
  }
  options->threads = 1;
  casefile_reader* made = nullptr;
  if (told >= sizeof *options) {
    answers_.succeeded("reader_open", casefile_reader_open_source(source_.get(), options, &made, answers_.error()));
  }
  casefile_reader_free(made);
}

std::string Reading::run() {
  using Step = void (Reading::*)();
  static constexpr Step kSteps[] = {&Reading::openSource, &Reading::openReader, &Reading::readAt,
                                    &Reading::readAll,    &Reading::lookAround, &Reading::divide,
                                    &Reading::openLines,  &Reading::nextLines,  &Reading::inspect,
                                    &Reading::verify,     &Reading::makeReady,  &Reading::readAt};
  openSource();
  openReader();
  for (int i = 0; i < kMostCalls && !input_.exhausted() && answers_.wrong().empty(); ++i) {
    (this->*kSteps[input_.below(std::size(kSteps))])();
  }
  lines_.reset();
  reader_.reset();
  source_.reset();
  if (own_.kept != 0) {
    answers_.note("a source that nobody reads any more is not released");
  }
  return answers_.wrong();
}

}  // namespace

std::string tryInput(Input& input) {
  const WholeFile& whole = chosenFile(input);
  Bytes file = whole.shape.file;
  for (std::size_t edits = input.below(4); edits > 0; --edits) {
    edit(file, input);
  }
  const Damaged damaged(whole.shape, whole.logical, file);
  const std::string wrong = Reading(input, damaged, whole.shape).run();
  return wrong.empty() ? "" : whole.shape.name + ": " + wrong;
}

}  // namespace proof
