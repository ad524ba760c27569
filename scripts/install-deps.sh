#!/usr/bin/env bash
# Installs the Debian packages the build, tests, tool, benchmarks and the
# Python package need.
# Does nothing for packages that are already present.
set -euo pipefail

packages=(
  cmake g++ make pkg-config valgrind python3 clang-format
  libgtest-dev libgmock-dev libbenchmark-dev
  libcli11-dev nlohmann-json3-dev libcairo2-dev
  python3-dev python3-venv python3-pip python3-setuptools python3-wheel
  pybind11-dev python3-pybind11 python3-numpy python3-scipy python3-pytest python3-mpmath
  python3-dask python3-distributed
  clang-14 libclang-rt-14-dev
  g++-mingw-w64-x86-64-posix googletest wine wine64
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  SUDO=""
  if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq "${missing[@]}"
fi
