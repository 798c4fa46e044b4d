#!/usr/bin/env bash
# The project's one test command, used by developers and by CI alike:
# installs the missing Debian packages, builds everything (library, tests,
# benchmarks, example hosts) in Release with warnings as errors, and runs
# every test.
#
# Usage: .ci/test.sh [build-dir]      (default: build)
#        KV_JOBS=N to change the parallelism (default: 2)
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

build_dir=${1:-build}
jobs=${KV_JOBS:-2}

.ci/install-deps.sh
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=Release -DKV_WERROR=ON
cmake --build "$build_dir" -j "$jobs"
ctest --test-dir "$build_dir" -j "$jobs" --output-on-failure
