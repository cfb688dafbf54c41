#!/bin/bash -eu
# Builds the targets as the service wants it: compilers and flags, the engine, sources and output are told by CC, CXX,
# CFLAGS, CXXFLAGS, LIB_FUZZING_ENGINE, SRC, WORK and OUT. What runs them has no libraries of ours, so all are static.
archive() { $CC -print-file-name="$1"; }
cmake -S "$SRC/datasource" -B "$WORK/datasource" -G Ninja -DCMAKE_BUILD_TYPE=None -DBUILD_SHARED_LIBS=OFF \
  -DZLIB_LIBRARY="$(archive libz.a)" -DLZ4_LIBRARY="$(archive liblz4.a)" -DLIBDEFLATE_LIBRARY="$(archive libdeflate.a)" \
  -DOPENSSL_USE_STATIC_LIBS=ON -DDATASOURCE_ISAL=OFF -DDATASOURCE_INSTALL=OFF -DDATASOURCE_BUILD_TESTS=OFF \
  -DDATASOURCE_BUILD_TOOLS=OFF -DDATASOURCE_BUILD_EXAMPLES=OFF -DDATASOURCE_BUILD_PROOF=ON \
  -DDATASOURCE_FUZZ_ENGINE="$LIB_FUZZING_ENGINE"
cmake --build "$WORK/datasource" --target fuzz --parallel "${DATASOURCE_JOBS:-$(nproc)}"
for program in "$WORK"/datasource/proof/fuzz/fuzz_*; do
  cp "$program" "$OUT/"
  (cd "$SRC/datasource/proof/fuzz/corpus/${program##*/fuzz_}" &&
    python3 -m zipfile -c "$OUT/${program##*/}_seed_corpus.zip" ./*)
done
