#include "encoderChoice.h"

#include "casefile/error.h"

namespace casefile {
namespace {

using datasource::form::EncoderChoice;

EncoderChoice choiceOf(Encoder encoder) noexcept {
  switch (encoder) {
    case Encoder::automatic:
      return EncoderChoice::automatic;
    case Encoder::zlib:
      return EncoderChoice::zlib;
    case Encoder::libdeflate:
      return EncoderChoice::libdeflate;
    case Encoder::isal:
      return EncoderChoice::isal;
    case Encoder::fast:
      return EncoderChoice::fast;
  }
  return static_cast<EncoderChoice>(-1);  // no encoder has this number
}

}  // namespace

EncoderChoice requireBuiltIn(Encoder encoder, const std::string& file) {
  const EncoderChoice choice = choiceOf(encoder);
  if (!datasource::form::makeEncoder(choice)) {
    throw Error(ErrorKind::usage, "cannot be written by this encoder, which is not built in",
                {file, "create", {}, {}, {}});
  }
  return choice;
}

}  // namespace casefile
