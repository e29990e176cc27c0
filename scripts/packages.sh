# Debian 12 packages that Tarnwick's scripts need, and the one way they install what is missing.
# Sourced (not run) by scripts/test.sh and scripts/demo.sh.
# shellcheck shell=bash disable=SC2034

# Building tarnwick, the target simulator and the Arm target programs, and running GDB through the proxy.
tarnwick_build_packages=(cmake g++ make googletest libgtest-dev libgmock-dev gcc-arm-none-eabi
                         binutils-arm-none-eabi libnewlib-arm-none-eabi gdb-multiarch python3)
# Everything the tests use besides: the QEMU suites, and dpkg-shlibdeps for the .deb's dependencies.
tarnwick_test_packages=("${tarnwick_build_packages[@]}" qemu-system-arm dpkg-dev)

# install_missing_packages PACKAGE...: installs those not installed yet with apt-get when run as root;
# otherwise names them with the command that would install them and returns 1.
install_missing_packages() {
    local package missing=()
    for package in "$@"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
    done
    if [ ${#missing[@]} -eq 0 ]; then
        return 0
    fi
    if [ "$(id -u)" -ne 0 ]; then
        echo "Missing packages: ${missing[*]}"
        echo "Install them with: sudo apt-get install --no-install-recommends ${missing[*]}"
        return 1
    fi
    echo "Installing: ${missing[*]}"
    apt-get update -qq
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
}
