#include "notes.h"

#include <atomic>

#include "failure.h"

namespace casefile::program {
namespace {

std::atomic<Talk> chosen = Talk::usual;

}  // namespace

void setTalk(Talk talk) noexcept { chosen = talk; }

bool isSaid(Talk least) noexcept { return chosen.load() >= least; }

void sayDetail(const std::string& file, const std::string& what) {
  if (isSaid(Talk::verbose)) {
    say(file, what);
  }
}

}  // namespace casefile::program
