#!/usr/bin/env bash
# Installs the wheel into a virtual environment and runs the tests and the examples there.
# Arguments: the folder with dist/, the tool, the source folder.
set -euo pipefail

built=$1 tool=$(realpath "$2") source=$3
find_python() { . "$source/python/tests/python.sh" "$@" > /dev/null && echo "$python"; }
python=$(find_python numpy PIL pytest venv cv2) || . "$source/python/tests/python.sh" numpy PIL pytest venv

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
"$python" -m venv --system-site-packages --without-pip env
# What pip does with a wheel of modules and a library: its files go to the folder of packages.
packages=$(env/bin/python -c 'import sysconfig; print(sysconfig.get_path("platlib"))')
"$python" -m zipfile -e "$built"/dist/viq-*.whl "$packages"
[ "$(env/bin/python -c 'import viq; print(viq.__file__)')" = "$packages/viq/__init__.py" ]

export VIQ_TOOL=$tool VIQ_SOURCE=$source
status=0
COLUMNS=200 env/bin/python -m pytest -v -p no:cacheprovider "$source/python/tests" > log 2>&1 || status=$?
grep -v ' PASSED ' log
sed -nE 's/.*::(\S+) SKIPPED \((.*)\).*/skipped: \1: \2/p' log
exit "$status"
