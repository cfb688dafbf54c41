// Uses the second library alone: a file is written, extended, read, verified and rescued, and what crosses the
// library's border crosses it: errors caught by type, a source and a callback of the program's own, streams.
#include <casefile/casefile.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ios>
#include <iostream>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

namespace {

int failures = 0;
void expect(bool condition, const char* what) {
  if (!condition) {
    std::cerr << "FAILED: " << what << '\n';
    ++failures;
  }
}

std::span<const std::byte> bytesOf(const std::string& text) { return std::as_bytes(std::span(text)); }

// A source of the program's own, which raises errors of its own.
class Borrowed : public casefile::RandomAccessFile {
 public:
  explicit Borrowed(std::shared_ptr<const casefile::RandomAccessFile> file) : file_(std::move(file)) {}
  std::string name() const override { return "borrowed"; }
  std::int64_t size() const override { return file_->size(); }
  std::size_t readAt(std::span<std::byte> buffer, std::int64_t position) const override {
    if (failing) {
      throw std::domain_error("the program's own");
    }
    return file_->readAt(buffer, position);
  }
  bool failing = false;

 private:
  std::shared_ptr<const casefile::RandomAccessFile> file_;
};

void writeAndAppend(const std::string& text) {
  int told = 0;
  casefile::WriterOptions options;
  options.progress = [&](const casefile::Progress&) {
    ++told;
    return casefile::Next::proceed;
  };
  casefile::Writer writer = casefile::Writer::create("useCasefile.case", options);
  writer.writeDictionary(bytesOf("dictionary"));
  casefile::OutputStream out(writer);
  out << text;
  out.finish();
  expect(told > 0, "the callback is called");
  casefile::Appender appender = casefile::Appender::open("useCasefile.case");
  appender.write(bytesOf("\nlast line"));
  appender.finish();
}

void read(const std::string& text) {
  const auto source = std::make_shared<Borrowed>(casefile::openFile("useCasefile.case"));
  const casefile::Reader reader = casefile::Reader::open(source);
  std::string bytes(text.size(), ' ');
  expect(reader.readAt(std::as_writable_bytes(std::span(bytes)), reader.row0()) == text.size() && bytes == text,
         "the bytes read are the bytes written");
  casefile::InputStream in(reader);
  in.seekg(-9, std::ios::end);
  std::string line;
  expect(std::getline(in, line) && line == "last line", "the stream reads what was appended");
  source->failing = true;
  try {
    reader.read({reader.row0(), reader.size()}, [](std::span<const std::byte>, std::int64_t) {});
    expect(false, "an error of the source is raised");
  } catch (const std::domain_error&) {
  }
}

void check() {
  expect(casefile::verify("useCasefile.case").sound(), "the file is sound");
  expect(casefile::inspect("useCasefile.case").readable(), "the file is readable");
  expect(casefile::recover("useCasefile.case", "useCasefile.out").complete(), "all is rescued");
  try {
    casefile::Reader::open("useCasefile.none");
    expect(false, "a missing file is an error");
  } catch (const casefile::Error& error) {
    expect(error.kind() == casefile::ErrorKind::system && error.code() == std::errc::no_such_file_or_directory,
           "the error tells the system's reason");
  }
  expect(std::strcmp(casefile::version(), CASEFILE_VERSION_STRING) == 0, "header and library are of one version");
}

}  // namespace

int main() {
  std::string text;
  for (int i = 0; i < 1'000'000; ++i) {
    text += "line " + std::to_string(i) + '\n';
  }
  writeAndAppend(text);
  read(text);
  check();
  std::remove("useCasefile.case");
  std::remove("useCasefile.out");
  if (failures == 0) {
    std::cout << "used the casefile library without a fault\n";
  }
  return failures == 0 ? 0 : 1;
}
