#include "model/killed.h"

#include <stdexcept>

namespace proof {

bool canBeKilled() noexcept { return false; }

void runKilledModel(Choices& /*choices*/, std::string& /*trace*/, Tally& /*tally*/) {
  throw std::logic_error("no process can be a copy of this one");
}

}  // namespace proof
