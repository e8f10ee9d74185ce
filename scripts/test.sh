#!/usr/bin/env bash
# Installs what is missing, builds Velquin and runs every test:
#  1. the regular build (RelWithDebInfo) and all CTest tests;
#  2. an AddressSanitizer/UBSan build of the engine and the play windows, running
#     the engine tests, the open/play/close stress tests, the replay of the fuzz
#     regression corpus and the mutant run (1000 damaged clips, a few minutes).
# Usage: scripts/test.sh            (from the repository root)
set -euo pipefail
cd "$(dirname "$0")/.."
ROOT=$(pwd)
JOBS=${JOBS:-$(nproc)}

bash scripts/install-deps.sh

# No display and no sound card are needed.
export QT_QPA_PLATFORM=offscreen
export SDL_AUDIODRIVER=${SDL_AUDIODRIVER:-dummy}

echo "== regular build"
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j "$JOBS"
echo "== tests"
ctest --test-dir build --output-on-failure -j "$JOBS"

echo "== sanitizer build"
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:detect_stack_use_after_return=0
export LSAN_OPTIONS=suppressions=$ROOT/tests/lsan.supp:print_suppressions=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVELQUIN_SANITIZE=ON \
      -DVELQUIN_MEDIA_DIR="$ROOT/build/media" >/dev/null
cmake --build build-asan -j "$JOBS" --target sanitize_tests
ctest --test-dir build-asan --output-on-failure -L sanitize
