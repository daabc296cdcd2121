# shellcheck shell=bash
# For the scripts to source: what they need and this machine lacks comes through apt.

# What every build of the project needs.
# shellcheck disable=SC2034  # used by the scripts
build_packages=(cmake g++ libchafa-dev libcli11-dev libpng-dev libxxhash-dev ninja-build nlohmann-json3-dev pkg-config)

# What the tests need beyond that: the second compiler with its sanitizers and fuzzer, the test
# framework, and what checks the installed library.
# shellcheck disable=SC2034
test_packages=(abigail-tools binutils clang doxygen libclang-rt-14-dev libgtest-dev pkg-config python3 strace)

# What looks at the code without running it.
# shellcheck disable=SC2034
lint_packages=(clang-format clang-tidy cppcheck)

# Other programs that the tests exchange files with. Without them those tests are skipped.
# shellcheck disable=SC2034
peer_packages=(ffmpeg graphicsmagick openimageio-tools parallel)

# The programs that the plug-ins are for, and what these need of them. What is missing leaves its
# plug-in out.
# shellcheck disable=SC2034
plugin_packages=(desktop-file-utils gimp libgdk-pixbuf-2.0-dev libgdk-pixbuf2.0-bin libgimp2.0-dev
    libopenimageio-dev mypy openimageio-tools pybind11-dev python3-dev python3-matplotlib python3-numpy
    shared-mime-info xdg-utils)

# What running the tests of other processors needs beyond that and beside their compilers.
# shellcheck disable=SC2034
cross_packages=(diffutils googletest qemu-user)

# What the benchmarks need beyond the build: their framework, and the libraries of other programs
# that they measure beside ours.
# shellcheck disable=SC2034
bench_packages=(libavcodec-dev libbenchmark-dev libgraphicsmagick1-dev libopenimageio-dev)

# What makes and checks the Debian packages beyond the build.
# shellcheck disable=SC2034
package_packages=(debhelper debootstrap dpkg-dev git help2man lintian)

say() {
    printf '\n==> %s\n' "$*"
}

die() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

is_installed() {
    [[ $(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null) == installed ]]
}

# install_packages NAME... installs those that are missing, as root or through sudo.
install_packages() {
    command -v apt-get >/dev/null ||
        die "this machine has no apt; install the equivalents of these Debian packages, then build" \
            "with cmake: $*"
    local missing=() name
    for name in "$@"; do
        is_installed "$name" || missing+=("$name")
    done
    if ((${#missing[@]} == 0)); then
        return
    fi
    local as_root=()
    if ((EUID != 0)); then
        command -v sudo >/dev/null ||
            die "please have root install what is missing: apt-get install ${missing[*]}"
        as_root=(sudo)
    fi
    say "Installing ${missing[*]}"
    as_root+=(env DEBIAN_FRONTEND=noninteractive)
    "${as_root[@]}" apt-get update -q || die "apt-get update failed"
    "${as_root[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}" ||
        die "apt-get install failed"
}
