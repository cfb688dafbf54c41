// Names in every form, and modes of opening: what opens, what is created, and what may be written.

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <stdexcept>
#include <string>

#include "Datasource/fileStream.h"
#include "Datasource/platform/extNameStr.h"
#include "fuzz/input.h"
#include "fuzz/target.h"
#include "support/memoryDisk.h"

namespace proof {
namespace {

constexpr std::size_t kMostLetters = 60;

std::string letters(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

// A name that was taken comes back as it was.
std::string namesComeBack(Input& input) {
  const unsigned codePages[] = {0, 437, 932, 936, 1200, 1252, 20127, 28591, 65001};
  const unsigned codePage =
      input.below(10) == 0 ? static_cast<unsigned>(input.number()) : codePages[input.below(std::size(codePages))];
  const std::string text = letters(input.rest());
  ExtNameStr name;
  name.SetGeneric(text);
  if (name.GetGeneric() != text || name.IsEmpty() != text.empty()) {
    return "a generic name comes back as another one";
  }
  ExtNameStr same;
  same.SetU8(name.GetU8());
  if (!(same == name)) {
    return "a UTF-8 name comes back as another one";
  }
  try {
    name.SetCodePage(text, codePage);
  } catch (const std::invalid_argument&) {
    return name.GetGeneric() == text ? "" : "a name that is refused changes the object";
  }
  try {
    same.SetCodePage(name.GetCodePage(codePage), codePage);
  } catch (const std::invalid_argument&) {
    return "a name of code page " + std::to_string(codePage) + " has none in it";
  }
  return same == name ? "" : "a name comes back from code page " + std::to_string(codePage) + " as another one";
}

// What a mode allows, by the letters in it.
struct Mode {
  explicit Mode(const std::string& mode) {
    const auto has = [&](char letter) { return mode.find(letter) != std::string::npos; };
    const bool readsOnly = !has('+') && has('r');
    const bool none = !has('+') && !has('w') && !has('a');
    writes = !readsOnly && !none;
    truncates = writes && has('w');
    appends = writes && !truncates && has('a');
    creates = truncates || appends;
  }
  bool writes;
  bool truncates;
  bool appends;
  bool creates;
};

// A mode gives what its letters say, and touches no other file.
std::string modesKeepTheirWord(Input& input) {
  const bool isThere = input.below(2) == 0;
  const bool otherName = input.below(8) == 0;
  std::string text = letters(input.raw(input.below(6)));
  if (input.below(4) != 0) {  // mostly of the letters that mean something
    for (char& letter : text) {
      letter = "rwa+bctTDx"[static_cast<unsigned char>(letter) % 10];
    }
  }
  text.erase(std::find(text.begin(), text.end(), '\0'), text.end());
  const Bytes old{'o', 'l', 'd', '\r', '\n'};
  std::string name = otherName ? "/disk/" + letters(input.raw(kMostLetters)) : "/disk/file";
  name.erase(std::find(name.begin(), name.end(), '\0'), name.end());
  const Mode mode(text);
  const Image others{{"/disk/another", {'x'}}};
  Image image = others;
  if (isThere) {
    image[name] = old;
  }
  const bool exists = image.contains(name);
  MemoryDisk disk(image);
  const Bytes added{'n', 'e', 'w'};
  std::size_t written = 0;
  {
    VORN_FileStream stream;
    const bool opens = stream.Open(name.c_str(), text.c_str()) == 1;
    if (opens != (exists || mode.creates)) {
      return "mode \"" + text + "\" opens what it should not, or does not";
    }
    if (mode.writes && opens) {
      stream.Seek(0, VORN_StrBaseIO::SeekFromEnd);
      written = stream.Write(added.data(), added.size());
      stream.Close();
    }
  }
  Image expected = image;
  if (mode.creates && (!exists || mode.truncates)) {
    expected[name] = {};
  }
  if (written > 0) {
    expected[name].insert(expected[name].end(), added.begin(), added.end());
  }
  const std::size_t due = mode.writes && (exists || mode.creates) ? added.size() : 0;
  return disk.image() == expected && disk.openDescriptors() == 0 && written == due
             ? ""
             : "mode \"" + text + "\" leaves something else in the file, or another file";
}

}  // namespace

std::string tryInput(Input& input) { return input.below(2) == 0 ? namesComeBack(input) : modesKeepTheirWord(input); }

}  // namespace proof
