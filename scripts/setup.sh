#!/usr/bin/env bash
# Installs the build dependencies (Debian packages) when any is missing, then configures and
# builds. Usage: scripts/setup.sh [normal|sanitize]...   (default: normal)
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(cmake ninja-build g++ pkg-config libicu-dev libssl-dev libeigen3-dev libboost-dev
          libedit-dev libgtest-dev libgmock-dev libbenchmark-dev libopenblas-dev)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  sudo_cmd=""
  [ "$(id -u)" -ne 0 ] && sudo_cmd="sudo"
  $sudo_cmd apt-get update -q
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y -q "${missing[@]}"
fi

builds=("$@")
[ ${#builds[@]} -gt 0 ] || builds=(normal)
for kind in "${builds[@]}"; do
  case "$kind" in
    normal)   dir=build;      flags=(-DVKL_SANITIZE=OFF) ;;
    sanitize) dir=build-asan; flags=(-DVKL_SANITIZE=ON -DCMAKE_BUILD_TYPE=Debug) ;;
    *) echo "unknown build kind: $kind" >&2; exit 2 ;;
  esac
  cmake -S . -B "$dir" -G Ninja "${flags[@]}" >/dev/null
  cmake --build "$dir"
done
