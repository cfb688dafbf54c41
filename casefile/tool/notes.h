#ifndef CASEFILE_NOTES_H
#define CASEFILE_NOTES_H

#include <string>

namespace casefile::program {

/// How much a command says beyond what went wrong.
enum class Talk {
  quiet,   ///< nothing
  usual,   ///< results
  verbose  ///< results, and what was found and done on the way
};

/// Chooses how much is said from now on; `usual`, as at first.
void setTalk(Talk talk) noexcept;
/// Returns: whether what belongs to `least` is said.
bool isSaid(Talk least) noexcept;

/// Says a detail of the way, when the user wants to hear it; as `say` does. Threads: any.
void sayDetail(const std::string& file, const std::string& what);

}  // namespace casefile::program

#endif
