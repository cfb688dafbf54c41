#include "faults/uses.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <stdexcept>

#include "Datasource/platform/assertion.h"
#include "Datasource/platform/throwError.h"
#include "support/allocations.h"
#include "support/oracle.h"

namespace proof {
namespace {

std::atomic<int> reports = 0;

void noteAssertion(const wchar_t* /*text*/, const wchar_t* /*file*/, unsigned int /*line*/) { ++reports; }
void noteLost(const char* /*where*/, const std::exception_ptr& /*error*/) { ++reports; }

void throwAssertion(const wchar_t* /*text*/, const wchar_t* /*file*/, unsigned int /*line*/) {
  ++reports;
  throw AssertionThrown();
}

}  // namespace

void listenToReports() {
  datasource::platform::setAssertionHandler(noteAssertion);
  datasource::platform::setLostErrorHandler(noteLost);
}

ThrowingHandler::ThrowingHandler() noexcept { datasource::platform::setAssertionHandler(throwAssertion); }
ThrowingHandler::~ThrowingHandler() { datasource::platform::setAssertionHandler(noteAssertion); }

Bytes caseData(std::size_t count, std::size_t from) {
  Bytes bytes(count);
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t at = from + i;
    bytes[i] = static_cast<unsigned char>(at % 8 == 0 ? at / 8 * 2654435761U >> 24 : at / 8 >> (at % 8 - 1));
  }
  return bytes;
}

Image sound() {
  const HarnessAllocations own;
  return {{kFile, makeByTheBook(kDictionary, caseData(kBytes))}};
}

Bytes logical(std::size_t cases) {
  Bytes bytes(kDictionary.begin(), kDictionary.end());
  const Bytes data = caseData(cases);
  bytes.insert(bytes.end(), data.begin(), data.end());
  return bytes;
}

Told told(bool well) { return well && !anythingReported() ? Told::success : Told::failure; }

bool anythingReported() { return reports != 0; }

// Every byte that is there is right and is there by the book, if success was told.
std::string holds(const Image& image, const std::string& name, std::size_t cases) {
  const auto found = image.find(name);
  if (found == image.end()) {
    return "success was told, and there is no file";
  }
  const Contents contents = readByTheBook(found->second, kRow0, kBlock);
  if (!contents.sound) {
    return "success was told, and the file is damaged";
  }
  return contents.logical() == logical(cases) ? "" : "success was told, and the file holds something else";
}

std::string unchanged(const Image& image, const Image& before) {
  return image == before ? "" : "what was only read has changed, or something was left behind";
}

void tellWrong(const char* what, std::size_t at) {
  const HarnessAllocations own;
  throw Wrong(std::string(what) + " at " + std::to_string(at));
}

void requireRight(const unsigned char* bytes, std::size_t count, std::size_t at, const Bytes& expected) {
  if (at + count > expected.size() ||
      !std::equal(bytes, bytes + count, expected.begin() + static_cast<std::ptrdiff_t>(at))) {
    tellWrong("wrong bytes were delivered", at);
  }
}

Told finish(zcmpsFilestr& stream, End end) {
  switch (end) {
    case End::close:
      return told(stream.Close() == 1);
    case End::unwind:
      throw Unwinding();
    case End::giveUp:
      stream.giveUp();
      return Told::nothing;
    default:
      return Told::success;  // unless its destructor says otherwise
  }
}

Told useStream(const std::function<Told()>& use) {
  reports = 0;
  Told result = Told::nothing;
  try {
    result = use();
  } catch (const Unwinding&) {
    // a destructor that meets an error then can only report it
    return told(true);
  }
  return anythingReported() ? Told::failure : result;
}

const char* nameOf(End end) {
  switch (end) {
    case End::close:
      return "closed";
    case End::destroy:
      return "destroyed";
    case End::unwind:
      return "unwound";
    default:
      return "given up";
  }
}

}  // namespace proof
