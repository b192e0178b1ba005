#!/usr/bin/env bash
# Installs the packages that are needed to build the library and the tool on Debian 12, and those of
# the groups that options name. Does nothing if all of them are installed or if there is no apt-get.
#
# Packages and download / disk space on top of a minimal Debian 12, as apt-get forecasts them:
#   (no option)                            89 packages    96 MB /  370 MB
#   --tests                               270 packages   212 MB /  830 MB
#   --tests --peers                       503 packages   342 MB / 1348 MB
#   the same, --clang, --windows, --arm   551 packages   520 MB / 2288 MB
#   the same, --manual, --package         702 packages   549 MB / 2388 MB
set -euo pipefail

usage() {
    cat <<EOF
usage: $0 [--tests] [--peers] [--clang] [--windows] [--arm] [--tidy] [--fuzz] [--bench] [--manual] [--package]
       [--coverage] [--soak]
  --tests    GoogleTest and the programs that the tests compare with
  --peers    OpenCV and Dask for Python: comparisons of the Python package, the cluster example
  --clang    clang and clang-format
  --windows  the cross compiler for 32-bit Windows and debootstrap, which makes a root for wine
  --arm      the cross compiler for 64-bit ARM and the emulator that runs its tests
  --tidy     clang-tidy
  --fuzz     clang and its sanitizer libraries
  --bench    Google Benchmark and the libraries that the benchmarks compare with
  --manual   doxygen and its theme; mandoc and zsh, which check man pages and completion
  --package  the programs that make, check and try Debian packages
  --coverage clang and its tools that measure coverage
  --soak     valgrind
EOF
}

packages=(g++ cmake ninja-build libcli11-dev nlohmann-json3-dev libpng-dev libjpeg-dev libtiff-dev)
for argument in "$@"; do
    case "$argument" in
    --tests)
        packages+=(libgtest-dev pkg-config python3 imagemagick netpbm ghostscript
            libtiff-tools libjpeg-turbo-progs libjpeg-dev
            xvfb xdotool bsdutils libx11-dev libxext-dev
            libcups2 cups-ipp-utils cups-daemon cups-client avahi-daemon dbus
            python3-numpy python3-pil python3-pytest python3-venv)
        ;;
    --peers) packages+=(python3-numpy python3-opencv python3-distributed) ;;
    --clang) packages+=(clang clang-format) ;;
    --windows) packages+=(g++-mingw-w64-i686-posix googletest debootstrap) ;;
    --arm) packages+=(g++-aarch64-linux-gnu qemu-user googletest) ;;
    --tidy) packages+=(clang clang-tidy) ;;
    --fuzz) packages+=(clang libclang-rt-dev) ;;
    --bench)
        packages+=(libbenchmark-dev pkg-config libjpeg-dev libyuv-dev libopencv-core-dev
            libopencv-imgproc-dev libturbojpeg0-dev libtiff-dev libopenjp2-7-dev
            xvfb python3-opencv libx11-6 libxext6 libsdl2-2.0-0)
        ;;
    --manual) packages+=(doxygen doxygen-awesome-css python3 mandoc zsh) ;;
    --package) packages+=(dpkg-dev file lintian debootstrap) ;;
    --coverage) packages+=(clang libclang-rt-dev llvm python3) ;;
    --soak) packages+=(valgrind) ;;
    --help)
        usage
        exit 0
        ;;
    *)
        usage >&2
        exit 2
        ;;
    esac
done

if ! command -v apt-get >/dev/null || ! command -v dpkg-query >/dev/null; then
    echo "apt-get was not found, nothing is installed; README.md names the packages of other systems."
    exit 0
fi

missing=()
for package in "${packages[@]}"; do
    status=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
    [ "$status" = installed ] || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || {
        echo "$0: installing needs root or sudo; missing: ${missing[*]}" >&2
        exit 1
    }
    as_root=(sudo)
fi
echo "installing: ${missing[*]}"
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${missing[@]}"
