// Runs a target on files instead of a fuzzer's inputs: PROGRAM FILE-OR-FOLDER...

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count);

namespace {

int replayed = 0;

void replay(const std::filesystem::path& name) {
  std::ifstream file(name, std::ios::binary);
  const std::vector<char> text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  const std::vector<std::uint8_t> bytes(text.begin(), text.end());
  std::printf("%s\n", name.string().c_str());  // the last one printed is the one that fails
  std::fflush(stdout);
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  ++replayed;
}

}  // namespace

int main(int count, char** arguments) {
  for (int i = 1; i < count; ++i) {
    if (!std::filesystem::is_directory(arguments[i])) {
      replay(arguments[i]);
      continue;
    }
    for (const auto& entry : std::filesystem::directory_iterator(arguments[i])) {
      replay(entry.path());
    }
  }
  std::printf("%d inputs\n", replayed);
  return replayed > 0 ? 0 : 1;  // nothing replayed would prove nothing
}
