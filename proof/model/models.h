#ifndef PROOF_MODELS_H
#define PROOF_MODELS_H

#include <string>

#include "model/choices.h"

namespace proof {

/// How many steps a model of a compressed file takes; one of a plain file takes three times as many.
inline constexpr int kModelSteps = 12;

/// Uses a compressed file as the choices say; after every step the oracle reads it. `trace` names the steps.
/// Raises: std::logic_error when the file or an answer is not what a vector of bytes would give; what the library does.
void runCompressedModel(Choices& choices, std::string& trace);

/// The same of a plain file, through one stream.
void runPlainModel(Choices& choices, std::string& trace);

/// An assertion handler that raises std::logic_error: no use that a model makes breaks a rule.
void failAssertion(const wchar_t* text, const wchar_t* file, unsigned int line);

}  // namespace proof

#endif
