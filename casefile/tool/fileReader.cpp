#include "fileReader.h"

#include <system_error>
#include <utility>

#include "failure.h"

namespace casefile::program {
namespace {

files::SystemFile openRegular(const std::string& name) {
  try {
    auto file = files::SystemFile::open(name, files::kOpenRead | files::kOpenNoWait);
    if (file.status().kind == files::FileKind::regular) {
      return file;
    }
  } catch (const std::system_error& error) {
    throw Failure(name, "cannot be opened: " + systemWords(error.code().value()), kRefused);
  }
  throw Failure(name, "is no regular file", kRefused);
}

}  // namespace

FileReader::FileReader(std::string name) : name_(std::move(name)), file_(openRegular(name_)) {}

void requireOpenable(const std::string& name) { openRegular(name); }

}  // namespace casefile::program
