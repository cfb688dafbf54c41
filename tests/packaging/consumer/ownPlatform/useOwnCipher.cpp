// Proves that the library enciphers with the program's cipher: the file holds the bytes turned over.
#include <Datasource/fileStream.h>

#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

int main() {
  const std::string written = "sixteen letters!and sixteen more";
  SetKeepEncrypt(true);
  {
    VORN_FileStream stream("useOwnCipher.vorn", "wb", true);
    stream.Write(written.data(), written.size());
  }
  std::ifstream file("useOwnCipher.vorn", std::ios::binary);
  std::string stored{std::istreambuf_iterator<char>(file), {}};
  for (char& letter : stored) {
    letter = static_cast<char>(~letter);
  }
  const bool right = stored.compare(0, written.size(), written) == 0;
  std::cout << (right ? "enciphered with the program's own cipher\n" : "FAILED: not the program's own cipher\n");
  return right ? 0 : 1;
}
