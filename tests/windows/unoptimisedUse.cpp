#include <Datasource/Datasource.h>
#include <Datasource/platform/throwError.h>

#include <cstdio>
#include <exception>

namespace {

/// Calls every operation of the counted pointer. Returns: how many gave something unexpected.
int useEveryOperation() {
  using Pointer = RefCountPtr<VORN_File>;
  int faults = 0;
  const auto expect = [&faults](bool right) { faults += right ? 0 : 1; };

  const Pointer empty;
  expect(empty.IsValid() == 0);
  Pointer first(new VORN_File);
  const Pointer second(first);
  expect(second.IsValid() == 1 && first == second && first == second.get());
  expect(!(first != second) && !(first != second.get()));
  expect(first->IsShared() == 1 && (*first).IsShared() == 1 && second->IsShared() == 1 && (*second).IsShared() == 1);
  Pointer third;
  third = first;
  expect(third.get() == second.get());
  auto* const other = new VORN_File;
  third = other;
  expect(third.get() == other && third.Unshared() == other);
  return faults;
}

/// Returns: 0 when an exception of the library arrives here as what it is.
int catchFromTheLibrary() {
  try {
    ThrowError::StringSys("strmcat.err", 1003, "name");
  } catch (const StringSysError& error) {
    return error.number() == 1003 ? 0 : 1;
  }
}

}  // namespace

int main() {
  try {
    const int faults = useEveryOperation() + catchFromTheLibrary();
    std::printf("%d faults\n", faults);
    return faults == 0 ? 0 : 1;
  } catch (const std::exception& error) {
    std::printf("%s\n", error.what());
    return 2;
  }
}
