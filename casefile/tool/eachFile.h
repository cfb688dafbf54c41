#ifndef CASEFILE_PROGRAM_EACHFILE_H
#define CASEFILE_PROGRAM_EACHFILE_H

#include <functional>
#include <string>
#include <vector>

namespace casefile::program {

/// Does the work for each file, also behind one for which it fails, whose reason is said.
/// Returns: the worst exit code. Raises: Interrupted; of the only file, whatever the work raises.
int forEachFile(const std::vector<std::string>& files, const std::function<int(const std::string&)>& work);

}  // namespace casefile::program

#endif
