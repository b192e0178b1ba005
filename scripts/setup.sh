#!/usr/bin/env bash
# Installs what building and testing need on Debian 12; with --bench also the libraries that the
# benchmarks compare with. Does nothing when everything is there.
set -euo pipefail

packages=(
    g++ cmake ninja-build pkg-config binutils
    clang libclang-rt-14-dev clang-format clang-tidy
    libcli11-dev nlohmann-json3-dev googletest libgtest-dev libbenchmark-dev
    g++-mingw-w64-i686-posix
    imagemagick libtiff-tools netpbm ghostscript libjpeg-turbo-progs libjpeg62-turbo-dev
)
for argument in "$@"; do
    case "$argument" in
    --bench)
        packages+=(libyuv-dev libopencv-core-dev libopencv-imgproc-dev
            libturbojpeg0-dev libtiff-dev libopenjp2-7-dev)
        ;;
    *)
        echo "usage: $0 [--bench]" >&2
        exit 2
        ;;
    esac
done

missing=()
for package in "${packages[@]}"; do
    status=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
    [ "$status" = installed ] || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(sudo)
echo "installing: ${missing[*]}"
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${missing[@]}"
