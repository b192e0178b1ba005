# Sourced by the tests of the Python package. Sets `python` to an interpreter that has the modules in
# the arguments; without one the test is skipped.
for python in ${VIQ_TEST_PYTHON:-python3 /usr/bin/python3}; do
    if "$python" -c "import $(IFS=,; echo "$*")" 2>/dev/null; then
        break
    fi
    python=
done
if [ -z "$python" ]; then
    echo "skipped: no Python 3 has the modules $*"
    exit 77
fi
