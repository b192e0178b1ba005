#!/usr/bin/env bash
# Runs the cluster example on two local workers, one of which is killed in the middle.
# Arguments: the folder of the package, the tool, the source folder.
set -euo pipefail

built=$1 tool=$(realpath "$2") source=$3
. "$source/python/tests/python.sh" numpy distributed

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
export PYTHONPATH=$built:$source/examples/cluster:$source/python/tests PYTHONDONTWRITEBYTECODE=1
timeout 500 "$python" "$source/python/tests/run_cluster.py" "$tool" "$work"
