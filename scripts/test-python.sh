#!/usr/bin/env bash
# Installs the Python package rzfilterfunc into a scratch virtual environment
# (Debian's numpy, scipy, pytest and dask stay visible through the system site
# packages; nothing is fetched) and runs its tests, which compare it with the
# C++ library through a reference driver built here.
set -euo pipefail
cd "$(dirname "$0")/.."

./scripts/install-deps.sh

python=/usr/bin/python3
jobs=$(nproc 2>/dev/null || echo 2)
venv=build/python-venv

rm -rf "$venv"
"$python" -m venv --system-site-packages --without-pip "$venv"
CMAKE_BUILD_PARALLEL_LEVEL="$jobs" \
  "$venv/bin/python" -m pip install --no-build-isolation --no-index ./python

cmake -S python/tests/reference -B build/python-reference -DCMAKE_BUILD_TYPE=Release
cmake --build build/python-reference -j "$jobs" --target rzf_reference

RZF_REFERENCE_DRIVER="$PWD/build/python-reference/rzf_reference" \
  "$venv/bin/python" -m pytest -q -p no:cacheprovider python/tests
