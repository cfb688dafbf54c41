// Uses what a program needs most: a round trip, exceptions that cross the library's border and are
// caught by type, and a handler of its own.
#include <Datasource/Datasource.h>
#include <Datasource/platform/assertion.h>
#include <Datasource/platform/cRuntime.h>
#include <Datasource/platform/throwError.h>

#include <cerrno>
#include <cstddef>
#include <iostream>
#include <string>
#include <vector>

namespace {

constexpr int64 kRow0 = 10;
constexpr std::size_t kBytes = 5'000'000;  // more than one block

int failures = 0;
void expect(bool condition, const char* what) {
  if (!condition) {
    std::cerr << "FAILED: " << what << '\n';
    ++failures;
  }
}

void roundTrip() {
  std::vector<unsigned char> written(kBytes);
  for (std::size_t i = 0; i < written.size(); ++i) {
    written[i] = static_cast<unsigned char>(i * 7 + i / 1000);
  }
  {
    VORN_FileStream plain("useLibrary.vorn", "wb");
    plain.Write("dictionary", 10);
    zcmpsFilestr packed(plain);
    packed.setMultiThread(1);
    packed.setRow0Pos(kRow0);
    packed.Seek(kRow0, VORN_StrBaseIO::SeekFromStart);
    expect(packed.Write(written.data(), written.size()) == written.size(), "all bytes are accepted");
    expect(packed.Close() == 1, "the file is finished");
  }
  VORN_FileStream plain("useLibrary.vorn", "rb");
  zcmpsFilestr packed(plain);
  packed.setMultiThread(2);
  packed.readFilePosInfo(kRow0, false);
  std::vector<unsigned char> read(kBytes);
  std::size_t done = 0;
  while (const std::size_t n = packed.Read(read.data() + done, read.size() - done)) {
    done += n;
  }
  expect(done == kBytes && read == written, "the bytes read are the bytes written");
}

int failingWrite(int, const void*, unsigned int) {
  errno = ENOSPC;
  return -1;
}

void exceptionsAreCaughtByType() {
  namespace platform = datasource::platform;
  VORN_FileStream stream("useLibrary.tmp", "wbD");
  stream.Write("x", 1);
  platform::CRuntimeCalls failing = platform::cRuntime();
  failing._write = failingWrite;
  platform::replaceCRuntime(&failing);
  try {
    stream.Flush();
    expect(false, "a failing write raises");
  } catch (const StringSysError& error) {
    expect(error.number() == 1002 && error.systemError() == ENOSPC, "the error tells the failure");
  }
  platform::replaceCRuntime(nullptr);

  VORN_FileStream none;
  zcmpsFilestr packed(none);
  try {
    packed.setRow0Pos(kRow0);
    expect(false, "a file that cannot be opened again raises");
  } catch (const SystemFileException& error) {
    expect(error.errorNumber == 1201, "the error tells its number");
  }
}

std::wstring lastAssertion;

void assertionsReachTheHandler() {
  datasource::platform::setAssertionHandler(
      [](const wchar_t* expression, const wchar_t*, unsigned int) { lastAssertion = expression; });
  VORN_FileStream none;
  zcmpsFilestr packed(none);
  packed.Seek(0, VORN_StrBaseIO::SeekFromEnd);
  datasource::platform::setAssertionHandler(nullptr);
  expect(lastAssertion.find(L"seek from end") != std::wstring::npos, "the program's own handler is told");
}

}  // namespace

int main() {
  roundTrip();
  exceptionsAreCaughtByType();
  assertionsReachTheHandler();
  if (failures == 0) {
    std::cout << "used the library without a fault\n";
  }
  return failures == 0 ? 0 : 1;
}
