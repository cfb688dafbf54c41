#!/usr/bin/env bash
# Makes the site of guides and references in build/docs/site: scripts/docs.sh [--pictures | --measure]
#   --pictures  only draws the pictures in docs/pictures again, of the sources' numbers and of what was measured
#   --measure   builds the benchmarks, runs them, which takes half an hour on an idle machine, and keeps what they say
#               in docs/figures; then draws
# A warning of the generators is an error, and so is a link that leads nowhere, or a picture that is not what its script
# draws.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/common.sh

draw() {
  local into=$1
  mkdir -p "$into"
  python3 -B docs/pictures/formPicture.py . "$into/file-form.svg"
  python3 -B docs/pictures/speedPictures.py docs/figures "$into"
}

case ${1:-} in
  --pictures)
    draw docs/pictures
    exit
    ;;
  --measure)
    scripts/setup.sh bench
    use_compiler_cache
    cmake --preset release -DDATASOURCE_BUILD_BENCHMARKS=ON >/dev/null
    cmake --build --preset release --target datasource_bench casefile -- --quiet
    python3 -B docs/figures/measure.py build/release docs/figures
    draw docs/pictures
    exit
    ;;
  '') ;;
  *)
    echo "docs.sh: no such option: $1 (--pictures, --measure)" >&2
    exit 2
    ;;
esac

scripts/setup.sh docs
draw build/docs/pictures
for picture in build/docs/pictures/*.svg; do
  if ! cmp -s "$picture" "docs/pictures/${picture##*/}"; then
    echo "docs.sh: docs/pictures/${picture##*/} is not what its script draws: scripts/docs.sh --pictures" >&2
    exit 1
  fi
done
python3 -B docs/site/build.py build/docs
