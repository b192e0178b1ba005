#!/usr/bin/env bash
# Builds the manual, a folder of web pages: build/manual/html/index.html, or in the folder that the
# argument names. Needs the packages of scripts/setup.sh --manual. Fails on a warning of doxygen, a
# difference between the messages of the sources and those of the headers, and a link that leads nowhere.
set -euo pipefail
cd "$(dirname "$0")/.."
mkdir -p "${1:-build/manual}"
output=$(cd "${1:-build/manual}" && pwd)

for program in doxygen python3 "${CXX:-c++}"; do
    command -v "$program" >/dev/null || {
        echo "$0: $program was not found; scripts/setup.sh --manual installs it" >&2
        exit 1
    }
done

theme=${VIQ_THEME:-/usr/share/doxygen-awesome-css}
rm -rf "$output"/{html,xml,pages}
mkdir -p "$output/pages"
"${CXX:-c++}" -std=c++20 -I. -Iinclude scripts/manual/tables.cpp -o "$output/tables"
"$output/tables" >"$output/tables.json"
python3 scripts/manual/make_pages.py "$output/tables.json" "$output/pages"

VIQ_MANUAL=$output
VIQ_VERSION=$(sed -nE 's/^project\(viq VERSION ([0-9.]+).*/\1/p' CMakeLists.txt)
export VIQ_MANUAL VIQ_VERSION
cp docs/manual/Doxyfile "$output/Doxyfile"
if [ -f "$theme/doxygen-awesome.css" ]; then
    doxygen -w html "$output/header.html" "$output/footer.html" "$output/style.css" "$output/Doxyfile"
    doxygen -l "$output/layout.xml"
    python3 scripts/manual/set_up_theme.py "$output/header.html" "$output/layout.xml"
    cat >>"$output/Doxyfile" <<END
LAYOUT_FILE = $output/layout.xml
HTML_HEADER = $output/header.html
HTML_EXTRA_STYLESHEET = $theme/doxygen-awesome.css $theme/doxygen-awesome-sidebar-only.css $theme/doxygen-awesome-sidebar-only-darkmode-toggle.css docs/manual/manual.css
HTML_EXTRA_FILES = $(echo "$theme"/*.js)
END
else
    echo "$0: without the theme doxygen-awesome-css the pages look plain" >&2
    echo "HTML_EXTRA_STYLESHEET = docs/manual/manual.css" >>"$output/Doxyfile"
fi
doxygen "$output/Doxyfile"
python3 scripts/manual/check_links.py "$output/html" .
echo "$output/html/index.html"
