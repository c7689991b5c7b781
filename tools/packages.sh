# SPDX-License-Identifier: Apache-2.0
# Sourced by the scripts at the root: the Debian packages that they need, and their installation.
# shellcheck shell=bash

build_packages=(
    g++ cmake ninja-build python3
    libcli11-dev libtinyobjloader-dev libpng-dev zlib1g-dev nlohmann-json3-dev libopenexr-dev
    libmicrohttpd-dev
    libgtest-dev libgmock-dev libbenchmark-dev
)
check_packages=(git clang-format clang lld libclang-rt-14-dev libstdc++-12-dev-arm64-cross)
full_check_packages=(
    clang-tidy g++-aarch64-linux-gnu qemu-user-static googletest pkg-config dpkg-dev doxygen
    valgrind libembree-dev libopenmpi-dev openmpi-bin chromium chromium-driver python3-selenium
)

# Installs those of the named packages that are missing; touches nothing when none is.
install_packages() {
    if ! command -v dpkg-query >/dev/null; then
        echo "This is no Debian system; please see to it that these are installed: $*"
        return 0
    fi
    local package
    local missing=()
    for package in "$@"; do
        if [[ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" != installed ]]; then
            missing+=("$package")
        fi
    done
    if ((${#missing[@]} == 0)); then
        echo "All Debian packages are there."
        return 0
    fi

    local as_root=()
    if ((EUID != 0)); then
        as_root=(sudo)
    fi
    echo "Installing missing Debian packages: ${missing[*]}"
    "${as_root[@]}" apt-get update -qq
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -qq --no-install-recommends "${missing[@]}"
}
