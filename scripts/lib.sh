# Shared by the scripts of this folder; source it. Leaves the caller in the project's root.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# install_packages <package>...: installs what is missing of a list of Debian packages.
install_packages() {
    local missing=()
    for package in "$@"; do
        dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed \
            || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    local root=()
    [ "$(id -u)" -eq 0 ] || root=(sudo)
    echo "Installing: ${missing[*]}"
    "${root[@]}" apt-get update -qq
    "${root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq \
        --no-install-recommends "${missing[@]}"
}

BUILD_PACKAGES=(g++ cmake ninja-build qtbase5-dev qtdeclarative5-dev qtdeclarative5-dev-tools
    libedit-dev)
RUN_PACKAGES=(qml-module-qtquick2 qml-module-qtquick-window2 qml-module-qtquick-layouts
    qml-module-qtquick-controls2 fonts-dejavu-core)
TEST_PACKAGES=(make qml-module-qttest)
CLANG_PACKAGES=(clang libclang-rt-14-dev)
LINT_PACKAGES=(clang clang-format clang-tidy cppcheck git)
BENCH_PACKAGES=(binutils libmodbus-dev pkg-config python3-matplotlib valgrind)
