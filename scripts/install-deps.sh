#!/usr/bin/env bash
# Installs the Debian packages the build needs, only those that are missing.
set -euo pipefail

PKGS=(
  build-essential cmake pkg-config
  libssl-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  nlohmann-json3-dev libcli11-dev libcsv-dev libtbb-dev libfmt-dev
  pybind11-dev python3-pybind11 python3-pytest python3-pandas python3-dask python3-distributed
  libcpp-httplib-dev
  clang libclang-rt-dev
  chromium   # the web page's test drives it headless; without it that test is skipped
)

missing=()
for p in "${PKGS[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

[ ${#missing[@]} -eq 0 ] && exit 0

echo "install-deps: missing packages: ${missing[*]}"
if [ "$(id -u)" -ne 0 ]; then
  echo "install-deps: not root; install them with: sudo apt-get install ${missing[*]}" >&2
  exit 1
fi
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq --no-install-recommends "${missing[@]}"
