#include "Datasource/platform/extNameStr.h"

#include <iconv.h>
#include <langinfo.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <stdexcept>

namespace {

constexpr const char* genericCharset = "UTF-8";

std::string charsetOf(unsigned int codePage) {
  if (codePage == 0) {
    return ::nl_langinfo(CODESET);
  }
  if (codePage == 65001) {
    return genericCharset;
  }
  if (codePage == 20127) {
    return "US-ASCII";
  }
  if (codePage > 28590 && codePage <= 28606) {
    return "ISO-8859-" + std::to_string(codePage - 28590);
  }
  return "CP" + std::to_string(codePage);
}

/// One conversion between two character sets.
class Conversion {
 public:
  Conversion(const std::string& to, const std::string& from) : handle_(::iconv_open(to.c_str(), from.c_str())) {
    // The failure value of iconv_open is -1 as a pointer.
    if (reinterpret_cast<std::intptr_t>(handle_) == -1) {  // NOLINT(*-reinterpret-cast)
      throw std::invalid_argument("no conversion from " + from + " to " + to);
    }
  }
  ~Conversion() { ::iconv_close(handle_); }
  Conversion(const Conversion&) = delete;
  Conversion& operator=(const Conversion&) = delete;

  std::string convert(std::string text) {
    std::string result;
    char* input = text.data();
    std::size_t inputLeft = text.size();
    while (inputLeft > 0) {
      step(&input, &inputLeft, result);
    }
    step(nullptr, nullptr, result);  // the way back to the first state, where there are states
    return result;
  }

 private:
  void step(char** input, std::size_t* inputLeft, std::string& result) {
    std::array<char, 256> piece{};
    char* output = piece.data();
    std::size_t outputLeft = piece.size();
    const std::size_t replaced = ::iconv(handle_, input, inputLeft, &output, &outputLeft);
    const bool full = replaced == static_cast<std::size_t>(-1) && errno == E2BIG;
    if (replaced != 0 && !full) {
      throw std::invalid_argument("the name has letters that do not convert");
    }
    result.append(piece.data(), piece.size() - outputLeft);
  }

  iconv_t handle_;
};

}  // namespace

void ExtNameStr::SetGeneric(const std::string& name) { generic_ = name; }
void ExtNameStr::SetU8(const std::string& name) { generic_ = name; }
std::string ExtNameStr::GetU8() const { return generic_; }

void ExtNameStr::SetCodePage(const std::string& bytes, unsigned int codePage) {
  generic_ = Conversion(genericCharset, charsetOf(codePage)).convert(bytes);
}

std::string ExtNameStr::GetCodePage(unsigned int codePage) const {
  return Conversion(charsetOf(codePage), genericCharset).convert(generic_);
}
