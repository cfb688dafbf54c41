// The C interface's writers, appenders, recovery and journals, by right calls and wrong ones in any order, on a disk
// that may fail: what finished is in the file, and what did not is nowhere.

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>

#include "casefile/c.h"
#include "damage/damaged.h"
#include "fuzz/cAnswers.h"
#include "fuzz/input.h"
#include "fuzz/target.h"
#include "fuzz/wholeFiles.h"
#include "support/memoryDisk.h"
#include "support/oracle.h"

namespace proof {
namespace {

const std::string kFile = "/disk/file.case";
const std::string kNew = "/disk/new.case";
const std::string kMended = "/disk/mended.case";
constexpr int kMostCalls = 24;

// The functions that writers and appenders both have.
template <class Handle>
struct Functions {
  casefile_status (*write)(Handle*, const void*, std::size_t, casefile_error*);
  casefile_status (*getRoom)(Handle*, void**, std::size_t*, casefile_error*);
  casefile_status (*advance)(Handle*, std::size_t, casefile_error*);
  casefile_status (*finish)(Handle*, casefile_error*);
  casefile_status (*cancel)(Handle*, casefile_error*);
  casefile_status (*leftBehind)(const Handle*, casefile_error*, casefile_error*);
};

constexpr Functions<casefile_writer> kWriting = {casefile_writer_write,   casefile_writer_get_room,
                                                 casefile_writer_advance, casefile_writer_finish,
                                                 casefile_writer_cancel,  casefile_writer_get_left_behind};
constexpr Functions<casefile_appender> kAppending = {casefile_appender_write,   casefile_appender_get_room,
                                                     casefile_appender_advance, casefile_appender_finish,
                                                     casefile_appender_cancel,  casefile_appender_get_left_behind};

// What a file shall hold, as far as calls succeeded.
struct Given {
  std::int64_t row0 = 0;
  Bytes logical;
  bool isBroken = false;  // an error that is no wrong use has ended the work
};

class Writing {
 public:
  Writing(Input& input, const WholeFile& whole)
      : input_(input), answers_(input), whole_(whole), disk_({{kFile, whole.shape.file}}) {}

  std::string run();

 private:
  void create();
  void addDictionary();
  void addBlock();
  void useWriter() { use(writer_.get(), kWriting, written_, kNew); }
  void open();
  void useAppender() { use(appender_.get(), kAppending, appended_, kFile); }
  void readOld();
  void lookForJournal();
  void takeBack();
  void recover();
  void letFail();

  template <class Handle>
  void use(Handle* handle, const Functions<Handle>& functions, Given& given, const std::string& name);
  template <class Handle>
  void useRoom(Handle* handle, const Functions<Handle>& functions, Given& given);
  bool gave(const char* call, casefile_status status, Given& given);
  void compare(const Given& given, const std::string& name);

  Input& input_;
  CAnswers answers_;
  const WholeFile& whole_;
  MemoryDisk disk_;
  std::unique_ptr<casefile_writer, FreedBy<casefile_writer_free>> writer_;
  std::unique_ptr<casefile_appender, FreedBy<casefile_appender_free>> appender_;
  Given written_;
  Given appended_;
};

// A call that was only wrong leaves all as it is; behind any other error the work can be given up and no more.
bool Writing::gave(const char* call, casefile_status status, Given& given) {
  const bool succeeded = answers_.succeeded(call, status);
  if (succeeded && given.isBroken) {
    answers_.note(std::string(call) + " succeeds behind an error");
  }
  given.isBroken = given.isBroken || (!succeeded && status != CASEFILE_USAGE);
  return succeeded;
}

void Writing::compare(const Given& given, const std::string& name) {
  const Image image = disk_.image();
  const auto file = image.find(name);
  if (file == image.end()) {
    answers_.note("a file that was finished is not there");
    return;
  }
  const Contents contents = readByTheBook(file->second, given.row0, kSmallBlock);
  if (!contents.sound || contents.logical() != given.logical) {
    answers_.note("a file that was finished holds something else");
  }
}

void Writing::create() {
  casefile_writer_options options;
  casefile_writer_options_init(&options, sizeof options);
  options.threads = 1;
  options.encoder = input_.below(8) == 0 ? static_cast<std::int32_t>(input_.below(8)) - 1 : CASEFILE_ZLIB;
  options.replace = input_.below(4) != 0 ? 1 : 0;
  options.sync = static_cast<std::int32_t>(input_.below(2));
  casefile_writer* made = nullptr;
  written_ = {};
  writer_.reset();
  answers_.succeeded("writer_create", casefile_writer_create(answers_.orNull(kNew.c_str()), &options,
                                                             answers_.orNull(&made), answers_.error()));
  writer_.reset(made);
}

void Writing::addDictionary() {
  const Bytes bytes = input_.bytes(input_.below(300));
  if (gave("writer_write_dictionary",
           casefile_writer_write_dictionary(writer_.get(), answers_.orNull(bytes.data()), bytes.size(),
                                            answers_.error()),
           written_)) {
    written_.logical.insert(written_.logical.end(), bytes.begin(), bytes.end());
    written_.row0 += static_cast<std::int64_t>(bytes.size());
  }
}

void Writing::addBlock() {
  const Bytes plain = input_.bytes(input_.below(8) == 0 ? input_.below(2 * kSmallBlock) : casefile_block_size());
  Bytes made(kSmallBlock);
  std::size_t length = 0;
  if (!answers_.succeeded("compress_block",
                          casefile_compress_block(plain.data(), plain.size(), CASEFILE_ZLIB, made.data(), made.size(),
                                                  answers_.orNull(&length), answers_.error()))) {
    return;
  }
  const bool isEdited = input_.below(4) == 0;
  made.resize(length);
  if (isEdited) {
    edit(made, input_);
  }
  const std::string call = "writer_write_block";
  const casefile_status status = casefile_writer_write_block(writer_.get(), made.data(), made.size(), answers_.error());
  if (isEdited) {  // nobody can say what an edit makes of it, but that the file would tell: it is given up here
    answers_.succeeded(call.c_str(), status);
    writer_.reset();
    written_ = {};
  } else if (gave(call.c_str(), status, written_)) {
    written_.logical.insert(written_.logical.end(), plain.begin(), plain.end());
  }
}

void Writing::open() {
  casefile_appender_options options;
  casefile_appender_options_init(&options, sizeof options);
  options.threads = 1;
  options.encoder = CASEFILE_ZLIB;
  options.row0 = input_.below(4) == 0 ? input_.number() : whole_.shape.row0;
  casefile_appender* made = nullptr;
  appender_.reset();
  appended_ = {};
  answers_.succeeded("appender_open", casefile_appender_open(answers_.orNull(kFile.c_str()), &options,
                                                             answers_.orNull(&made), answers_.error()));
  appender_.reset(made);
  casefile_appender_info info{};
  if (!answers_.succeeded("appender_get_info",
                          casefile_appender_get_info(made, &info, sizeof info, answers_.error()))) {
    return;
  }
  const Contents contents = readByTheBook(disk_.image().at(kFile), info.row0, kSmallBlock);
  if (!contents.sound) {
    answers_.note("an appender opens what is not sound");
    return;
  }
  appended_.row0 = info.row0;
  appended_.logical = contents.logical().bytes();
}

void Writing::readOld() {
  Bytes piece(input_.below(3 * kSmallBlock));
  std::size_t done = 0;
  const std::int64_t at =
      input_.below(4) == 0 ? input_.number() : static_cast<std::int64_t>(input_.below(1 + appended_.logical.size()));
  const Bytes& all = appended_.logical;
  if (answers_.succeeded("appender_read_at",
                         casefile_appender_read_at(appender_.get(), answers_.orNull(piece.data()), piece.size(), at,
                                                   answers_.orNull(&done), answers_.error())) &&
      done > 0 &&
      (at < 0 || static_cast<std::size_t>(at) + done > all.size() ||
       !std::equal(piece.data(), piece.data() + done, all.data() + at))) {
    answers_.note("an appender reads something else than the file holds");
  }
}

template <class Handle>
void Writing::useRoom(Handle* handle, const Functions<Handle>& functions, Given& given) {
  void* room = nullptr;
  std::size_t size = 0;
  if (!gave("get_room", functions.getRoom(handle, answers_.orNull(&room), answers_.orNull(&size), answers_.error()),
            given)) {
    return;
  }
  const std::size_t count = input_.below(8) == 0 ? size + 1 : input_.below(size + 1);
  const Bytes bytes = input_.bytes(std::min(count, size));
  std::copy(bytes.begin(), bytes.end(), static_cast<unsigned char*>(room));
  if (gave("advance", functions.advance(handle, count, answers_.error()), given)) {
    if (count > size) {
      answers_.note("more room was used than there is");
    }
    given.logical.insert(given.logical.end(), bytes.begin(), bytes.end());
  }
}

template <class Handle>
void Writing::use(Handle* handle, const Functions<Handle>& functions, Given& given, const std::string& name) {
  switch (input_.below(8)) {
    case 0:
      useRoom(handle, functions, given);
      break;
    case 1:
      if (gave("finish", functions.finish(handle, answers_.error()), given)) {
        compare(given, name);
      }
      break;
    case 2:
      answers_.succeeded("cancel", functions.cancel(handle, answers_.error()));
      break;
    case 3: {
      casefile_error why{};
      answers_.succeeded("get_left_behind", functions.leftBehind(handle, answers_.orNull(&why), answers_.error()));
      break;
    }
    default: {
      const Bytes bytes = input_.bytes(input_.below(3 * kSmallBlock));
      if (gave("write", functions.write(handle, answers_.orNull(bytes.data()), bytes.size(), answers_.error()),
               given)) {
        given.logical.insert(given.logical.end(), bytes.begin(), bytes.end());
      }
    }
  }
}

void Writing::lookForJournal() {
  casefile_unfinished_append found{};
  answers_.succeeded("find_unfinished_append",
                     casefile_find_unfinished_append(answers_.orNull(kFile.c_str()), answers_.orNull(&found),
                                                     input_.below(sizeof found + 1), answers_.error()));
  casefile_journal_of_replaced removed{};
  answers_.succeeded("remove_journal_of_replaced",
                     casefile_remove_journal_of_replaced(kNew.c_str(), &removed, sizeof removed, answers_.error()));
}

void Writing::takeBack() {
  std::int32_t took = 0;
  answers_.succeeded("take_back_append", casefile_take_back_append(answers_.orNull(kFile.c_str()),
                                                                   answers_.orNull(&took), answers_.error()));
}

void Writing::recover() {
  casefile_recover_options options;
  casefile_recover_options_init(&options, sizeof options);
  options.threads = 1;
  options.row0 = whole_.shape.row0;
  options.holes = static_cast<std::int32_t>(input_.below(4));
  options.replace = static_cast<std::int32_t>(input_.below(2));
  casefile_recovery* made = nullptr;
  const bool succeeded =
      answers_.succeeded("recover", casefile_recover(kFile.c_str(), answers_.orNull(kMended.c_str()), &options,
                                                     answers_.orNull(&made), answers_.error()));
  const std::unique_ptr<casefile_recovery, FreedBy<casefile_recovery_free>> report(made);
  casefile_recovery_info info{};
  answers_.succeeded("recovery_get_info", casefile_recovery_get_info(made, &info, sizeof info, answers_.error()));
  casefile_loss loss{};
  answers_.succeeded("recovery_get_loss",
                     casefile_recovery_get_loss(made, input_.below(4), &loss, sizeof loss, answers_.error()));
  if (succeeded && !readByTheBook(disk_.image().at(kMended), whole_.shape.row0, kSmallBlock).sound) {
    answers_.note("recover makes a file that is not sound");
  }
}

// A call of the disk fails, and maybe all behind it.
void Writing::letFail() {
  const std::size_t first = input_.below(30);
  const bool stays = input_.below(4) == 0;
  disk_.interfereWith([calls = std::size_t{0}, first, stays](const char* /*call*/, unsigned /*size*/) mutable {
    MemoryDisk::Fate fate;
    const std::size_t call = calls++;
    fate.error = call == first || (stays && call > first) ? EIO : 0;
    return fate;
  });
}

std::string Writing::run() {
  using Step = void (Writing::*)();
  static constexpr Step kSteps[] = {&Writing::create,    &Writing::addDictionary,  &Writing::addBlock,
                                    &Writing::useWriter, &Writing::useWriter,      &Writing::useWriter,
                                    &Writing::open,      &Writing::useAppender,    &Writing::useAppender,
                                    &Writing::readOld,   &Writing::lookForJournal, &Writing::takeBack,
                                    &Writing::recover,   &Writing::letFail};
  for (int i = 0; i < kMostCalls && !input_.exhausted() && answers_.wrong().empty(); ++i) {
    (this->*kSteps[input_.below(std::size(kSteps))])();
  }
  writer_.reset();
  appender_.reset();
  if (disk_.openDescriptors() != 0) {
    answers_.note("a descriptor stays open");
  }
  return answers_.wrong();
}

}  // namespace

std::string tryInput(Input& input) {
  const WholeFile& whole = chosenFile(input);
  const std::string wrong = Writing(input, whole).run();
  return wrong.empty() ? "" : whole.shape.name + ": " + wrong;
}

}  // namespace proof
