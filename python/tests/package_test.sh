#!/usr/bin/env bash
# Installs the wheel into a virtual environment and runs the tests and the examples there.
# Arguments: the folder with dist/, the tool, the source folder.
set -euo pipefail

built=$1 tool=$(realpath "$2") source=$3
. "$source/python/tests/python.sh" numpy PIL cv2 pytest venv

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
"$python" -m venv --system-site-packages --without-pip env
# What pip does with a wheel of modules and a library: its files go to the folder of packages.
packages=$(env/bin/python -c 'import sysconfig; print(sysconfig.get_path("platlib"))')
"$python" -m zipfile -e "$built"/dist/viq-*.whl "$packages"
[ "$(env/bin/python -c 'import viq; print(viq.__file__)')" = "$packages/viq/__init__.py" ]

export VIQ_TOOL=$tool VIQ_SOURCE=$source
env/bin/python -m pytest -q -p no:cacheprovider "$source/python/tests"
