#!/usr/bin/env bash
# Sets up, builds and runs the main job on an example script.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh normal
build/bin/vkl-literal "${1:-examples/values.vkl}"
