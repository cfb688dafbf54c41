#ifndef CASEFILE_COMMANDLINE_H
#define CASEFILE_COMMANDLINE_H

#include <functional>
#include <string>
#include <vector>

namespace casefile::program {

/// What the arguments ask for.
struct Request {
  std::function<int()> run;  ///< empty: the exit code is all
  std::string file;          ///< the file to name in messages that name none
  int exitCode = 0;
};

/// Reads the arguments; prints help or a hint when they ask for it or are wrong.
Request readCommandLine(std::vector<std::string> arguments);

}  // namespace casefile::program

#endif
