# Sourced by the scripts beside it: installs what a fresh Debian 12 lacks.
# install_dependencies KIND...: "build" for the programs, "test" for the tests as well,
# "package" to make packages, "bench" for the benchmarks and their peers, "docs" for the reference,
# "fuzz" for the fuzz targets, "check" for the static checks, "cross_i386" and "cross_arm64" to build
# for another processor.

orvik_libraries_build="zlib1g-dev libtinyxml-dev libexpat1-dev libboost-dev libicu-dev
  libncurses-dev"
orvik_libraries_test="libgtest-dev libgmock-dev"
orvik_packages_build="g++ cmake ninja-build pkg-config $orvik_libraries_build"
orvik_packages_package="dpkg-dev file lintian python3"
orvik_packages_bench="libbenchmark-dev libplist-dev libxml2-dev libssl-dev git"
orvik_packages_docs="doxygen cmake"
orvik_packages_test="$orvik_libraries_test python3 libplist-utils libxml2-utils attr zsh fish ansible-core
  tmux procps meson
  $orvik_packages_package"
orvik_packages_fuzz="clang"
orvik_packages_check="python3 clang-tidy clang-tools cppcheck"
orvik_packages_cross_i386="mmdebstrap g++-i686-linux-gnu"
orvik_packages_cross_arm64="mmdebstrap g++-aarch64-linux-gnu qemu-user"

install_dependencies() {
  local wanted="" missing="" package
  for kind in "$@"; do
    local list="orvik_packages_$kind"
    wanted="$wanted ${!list}"
  done
  for package in $wanted; do
    if [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" != installed ]; then
      missing="$missing $package"
    fi
  done
  [ -n "$missing" ] || return 0
  echo "Installing:$missing"
  local as_root=""
  if [ "$(id -u)" -ne 0 ]; then as_root="sudo"; fi
  $as_root apt-get update -qq
  # shellcheck disable=SC2086
  DEBIAN_FRONTEND=noninteractive $as_root apt-get install -y -qq --no-install-recommends $missing >/dev/null
}

# The files that name this machine's own package sources.
apt_sources() {
  find /etc/apt/sources.list /etc/apt/sources.list.d -type f \( -name '*.list' -o -name '*.sources' \) \
    -size +0 2>/dev/null
}

# unpack_sysroot ARCHITECTURE FOLDER: what a program for another processor is built with and loads.
# Nothing of this machine changes. A folder that exists already stays as it is.
unpack_sysroot() {
  local architecture="$1" folder="$2" link
  local -a sources
  mapfile -t sources < <(apt_sources)
  local libraries="libc6-dev libstdc++6 $orvik_libraries_build $orvik_libraries_test"
  [ ! -d "$folder" ] || return 0
  mkdir -p "$(dirname "$folder")"
  rm -rf "$folder.part"
  # shellcheck disable=SC2086
  mmdebstrap --quiet --variant=extract --architectures="$architecture" \
    --aptopt='APT::Install-Recommends "false"' --include="$(echo $libraries | tr ' ' ,)" \
    "$(. /etc/os-release && echo "$VERSION_CODENAME")" "$folder.part" "${sources[@]}"
  # The emulator would take these for the folders of this machine.
  rm -rf "$folder.part"/{dev,etc,tmp,var}
  # An absolute link would point into this machine.
  find "$folder.part" -type l -lname '/*' | while read -r link; do
    ln -sfnr "$folder.part$(readlink "$link")" "$link"
  done
  mv "$folder.part" "$folder"
}
