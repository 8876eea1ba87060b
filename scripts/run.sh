#!/usr/bin/env bash
# Sets up, builds and runs the main job: `vkl` on an example script.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh normal
build/bin/vkl "${1:-examples/showcase.vkl}"
