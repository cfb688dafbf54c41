#include "eachFile.h"

#include <algorithm>
#include <exception>

#include "failure.h"

namespace casefile::program {

int forEachFile(const std::vector<std::string>& files, const std::function<int(const std::string&)>& work) {
  if (files.size() == 1) {
    return work(files.front());
  }
  int worst = kDone;
  for (const std::string& file : files) {
    int code = kDone;
    try {
      code = work(file);
    } catch (const Interrupted&) {
      throw;
    } catch (...) {
      code = report(std::current_exception(), file);
    }
    worst = std::max(worst, code);
  }
  return worst;
}

}  // namespace casefile::program
