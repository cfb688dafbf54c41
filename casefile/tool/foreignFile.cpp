#include "foreignFile.h"

#include <span>

#include "failure.h"
#include "fileNames.h"
#include "find/foreignFormat.h"
#include "notes.h"

namespace casefile::program {

void warnOfForeign(PlainInput& input, const std::string& name) {
  if (!isSaid(Talk::usual) || !input.fill()) {
    return;
  }
  if (const char* const format = foreignFormat(std::span(input.data(), input.available()))) {
    say(name == kStandardStream ? "standard input" : name,
        std::string("is ") + format + ", which is compressed already: its contents are not looked into");
  }
}

}  // namespace casefile::program
