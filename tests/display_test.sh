#!/usr/bin/env bash
# Shows images on X servers without a screen. Arguments: the tool, the source folder.
# VIQ_LIBRARY: the shared library; VIQ_UNIT_TESTS: the program of the unit tests.
set -euo pipefail
for program in python3 Xvfb xdotool; do
    command -v "$program" >/dev/null || { echo "skipped: $program is missing"; exit 77; }
done
[ -n "${VIQ_LIBRARY:-}" ] || { echo "skipped: the library of this build is not for this system"; exit 77; }

source=$(realpath "$2")
unset XAUTHORITY
export PYTHONDONTWRITEBYTECODE=1
python3 "$source/tests/display/check_display.py" "$VIQ_LIBRARY" "$source"
PYTHONPATH=$source/tests/display python3 - "$VIQ_UNIT_TESTS" <<'END'
import subprocess
import sys
from server import Server
with Server(200, 200, 24):
    sys.exit(subprocess.run([sys.argv[1], '--gtest_brief=1', '--gtest_filter=X11DisplayTest.*']).returncode)
END
