#include "fuzz/cAnswers.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

namespace proof {
namespace {

constexpr int kRubbish = 0xAB;

// Returns: whether a text ends within its room, is one line, and says something.
template <std::size_t Room>
bool isLine(const char (&text)[Room]) {
  const char* const end = std::find(std::begin(text), std::end(text), '\0');
  constexpr unsigned char kFirstPrintable = 0x20;
  return end != std::end(text) && end != text &&
         std::none_of(text, end, [](char letter) { return static_cast<unsigned char>(letter) < kFirstPrintable; });
}

}  // namespace

casefile_error* CAnswers::error() {
  std::memset(&error_, kRubbish, sizeof error_);
  asked_ = input_.below(kRarely) != 0;
  return asked_ ? &error_ : nullptr;
}

std::string CAnswers::faultOf(casefile_status status) const {
  if (status < CASEFILE_OK || status > CASEFILE_OTHER || std::string_view(casefile_status_name(status)) == "unknown") {
    return "gives a status that there is not";
  }
  if (!asked_) {
    return "";
  }
  if (error_.status != status) {
    return "gives one status and tells another one";
  }
  if (std::any_of(std::begin(error_.reserved), std::end(error_.reserved), [](auto byte) { return byte != 0; })) {
    return "leaves rubbish in its error";
  }
  if (status == CASEFILE_OK) {
    return error_.message[0] == '\0' && error_.system_code == 0 && error_.operation[0] == '\0'
               ? ""
               : "succeeds with an error";
  }
  if (status == CASEFILE_SYSTEM && error_.system_code == 0) {
    return std::string("tells no reason of the system's: ") + error_.message;
  }
  return isLine(error_.message) ? "" : "fails without a word in one line";
}

bool CAnswers::succeeded(const char* call, casefile_status status) {
  last_ = status;
  if (const std::string wrong = faultOf(status); !wrong.empty()) {
    note(std::string(call) + " " + wrong);
  }
  return status == CASEFILE_OK;
}

void CAnswers::note(const std::string& wrong) {
  if (wrong_.empty()) {
    wrong_ = wrong;
  }
}

}  // namespace proof
