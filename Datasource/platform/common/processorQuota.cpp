#include "processorQuota.h"

#include <algorithm>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

namespace datasource::platform {
namespace {

// A quota of time for each period, as text: "max" or -1 is no limit. Returns: 0 for no limit.
unsigned processorsFor(const std::string& quota, const std::string& period) {
  std::istringstream text(quota + ' ' + period);
  long long time = 0;
  long long each = 0;
  if (!(text >> time >> each) || time <= 0 || each <= 0) {
    return 0;
  }
  const long long processors = time / each + (time % each != 0 ? 1 : 0);
  return static_cast<unsigned>(std::min<long long>(processors, std::numeric_limits<unsigned>::max()));
}

// One hierarchy of groups, and how its files tell the quota.
struct Hierarchy {
  std::string mount;
  std::string group;  // the process's own, below the mount
  bool unified;
};

unsigned quotaOf(const std::string& folder, bool unified) {
  std::string quota;
  std::string period;
  if (unified) {
    std::ifstream(folder + "/cpu.max") >> quota >> period;
  } else {
    std::ifstream(folder + "/cpu.cfs_quota_us") >> quota;
    std::ifstream(folder + "/cpu.cfs_period_us") >> period;
  }
  return processorsFor(quota, period);
}

unsigned lowest(unsigned left, unsigned right) {
  return left == 0 || right == 0 ? std::max(left, right) : std::min(left, right);
}

// The process's own group and all above it; of a group that cannot be seen, what can.
unsigned quotaOf(const Hierarchy& hierarchy) {
  unsigned result = 0;
  std::string group = hierarchy.group;
  for (;;) {
    result = lowest(result, quotaOf(hierarchy.mount + group, hierarchy.unified));
    if (group.empty()) {
      return result;
    }
    group.resize(group.rfind('/') == std::string::npos ? 0 : group.rfind('/'));
  }
}

bool hasProcessorController(const std::string& controllers) {
  std::istringstream list(controllers);
  for (std::string name; std::getline(list, name, ',');) {
    if (name == "cpu") {
      return true;
    }
  }
  return false;
}

// Lines "NUMBER:CONTROLLERS:GROUP"; the unified hierarchy's has the number 0 and no controllers.
std::vector<Hierarchy> hierarchies(const std::string& root) {
  std::vector<Hierarchy> result;
  std::ifstream groups(root + "/proc/self/cgroup");
  std::string number;
  std::string controllers;
  std::string group;
  while (std::getline(groups, number, ':') && std::getline(groups, controllers, ':') && std::getline(groups, group)) {
    const std::string mounts = root + "/sys/fs/cgroup";
    if (controllers.empty()) {
      result.push_back({mounts, group, true});
    } else if (hasProcessorController(controllers)) {
      result.push_back({mounts + "/" + controllers, group, false});
      result.push_back({mounts + "/cpu", group, false});
    }
  }
  return result;
}

}  // namespace

unsigned processorQuota(const std::string& root) {
  unsigned result = 0;
  for (const Hierarchy& hierarchy : hierarchies(root)) {
    result = lowest(result, quotaOf(hierarchy));
  }
  return result;
}

}  // namespace datasource::platform
