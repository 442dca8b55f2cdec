#!/bin/sh
# Rewrites the expected colour runs of the samples in tests/fixtures/languages
# from the current parsers and languages. Run it only when a change of colours
# is intended, then review `git diff tests/fixtures/languages` before committing.
# Usage: tools/regenerate-colour-references.sh [build directory]
set -e
here=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-"$here/build"}
ninja -C "$build" -j2 test_language
MORVEL_REGENERATE_COLOUR_REFERENCES=1 "$build/bin/test_language" --gtest_filter='GoldenColouringTest.*'
git -C "$here" diff --stat -- tests/fixtures/languages
