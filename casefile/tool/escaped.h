#ifndef CASEFILE_ESCAPED_H
#define CASEFILE_ESCAPED_H

#include <string>
#include <string_view>

namespace casefile::program {

/// Returns: a text in which control characters, which could steer a terminal, and bytes that are no letter in UTF-8,
///   some of which are such characters to some terminals, stand as `\xNN`.
std::string escaped(std::string_view text);

}  // namespace casefile::program

#endif
