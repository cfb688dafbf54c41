// Reads a data file from a source of the program's own: here a member of an archive, in the middle of another file.
#include <casefile/casefile.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <span>
#include <string>
#include <utility>

namespace {

// A range of another file. An object store would ask for that range of bytes instead.
class Member : public casefile::RandomAccessFile {
 public:
  Member(std::shared_ptr<const casefile::RandomAccessFile> archive, std::int64_t start, std::int64_t size)
      : archive_(std::move(archive)), start_(start), size_(size) {}

  std::string name() const override { return archive_->name() + "/member"; }
  std::int64_t size() const override { return size_; }
  std::size_t readAt(std::span<std::byte> buffer, std::int64_t position) const override {
    const std::int64_t left = std::max<std::int64_t>(0, size_ - position);
    const auto count = std::min(buffer.size(), static_cast<std::size_t>(left));
    return archive_->readAt(buffer.first(count), start_ + position);
  }

 private:
  std::shared_ptr<const casefile::RandomAccessFile> archive_;
  std::int64_t start_;
  std::int64_t size_;
};

// Returns: how long the member is.
std::int64_t putInto(const std::string& archive, const std::string& front, const std::string& member) {
  std::ifstream in(member, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(in), {}};
  std::ofstream(archive, std::ios::binary) << front << bytes << "more of the archive";
  return static_cast<std::int64_t>(bytes.size());
}

}  // namespace

int main() {
  try {
    const std::string dictionary = "text\n";
    const std::string text = "case data from a member of an archive";
    casefile::Writer writer = casefile::Writer::create("member.case");
    writer.writeDictionary(std::as_bytes(std::span(dictionary)));
    writer.write(std::as_bytes(std::span(text)));
    writer.finish();

    const std::string front = "the archive's own heading";
    const std::int64_t size = putInto("archive", front, "member.case");
    const auto member =
        std::make_shared<Member>(casefile::openFile("archive"), static_cast<std::int64_t>(front.size()), size);
    const casefile::Reader reader = casefile::Reader::open(member);
    std::string read(text.size(), ' ');
    reader.readAt(std::as_writable_bytes(std::span(read)), reader.row0());
    std::cout << member->name() << ": " << read << '\n';
  } catch (const casefile::Error& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
