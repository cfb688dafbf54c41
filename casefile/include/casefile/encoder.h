#ifndef CASEFILE_ENCODER_H
#define CASEFILE_ENCODER_H

namespace casefile {

/// By which codec a Writer or an Appender compresses blocks.
///
/// A file does not tell by which one its blocks were written, blocks of several may follow each other, and each
/// reader reads them all. codecs() tells which are built in; choosing one that is not is an Error of kind `usage`.
///
/// A block that the codec does not bring into the room that the form has is given to zlib before it is an error. One
/// whose zlib stream is too long by a part of its check value alone is no error either: it is cut there, as the
/// streams cut it, and each reader gets all of its bytes.
///
/// Of some thousand blocks that ISA-L compresses one differs by a few bytes in another run; what it holds does not.
enum class Encoder {
  automatic,   ///< the fastest that is built in
  zlib,        ///< level 1: the same bytes as the streams write, whatever the number of threads
  libdeflate,  ///< level 1
  isal,        ///< ISA-L, level 1; built in where the machine that built the library had it
  fast         ///< the library's own: the same bytes on every machine, whatever the number of threads
};

}  // namespace casefile

#endif
