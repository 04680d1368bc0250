# Sourced by the scripts beside it: installs what a fresh Debian 12 lacks.
# install_dependencies KIND...: "build" for the programs, "test" for the tests as well,
# "package" to make packages, "bench" for the benchmarks and their peers, "docs" for the reference,
# "fuzz" for the fuzz targets and "check" for the static checks.

orvik_packages_build="g++ cmake ninja-build pkg-config zlib1g-dev libtinyxml-dev libboost-dev
  libicu-dev libpugixml-dev libcli11-dev nlohmann-json3-dev"
orvik_packages_package="dpkg-dev file"
orvik_packages_bench="libbenchmark-dev libplist-dev libxml2-dev libssl-dev git"
orvik_packages_docs="doxygen"
orvik_packages_test="libgtest-dev libgmock-dev python3 libplist-utils libxml2-utils attr zsh
  $orvik_packages_package"
orvik_packages_fuzz="clang"
orvik_packages_check="clang-tidy clang-tools cppcheck"

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

# install_foreign_dependencies ARCHITECTURE COMPILER: the libraries of another processor beside
# those of this one. Fails, with nothing changed,
# when apt would have to remove a package for them.
install_foreign_dependencies() {
  local architecture="$1" wanted="$2" library
  for library in libicu-dev libpugixml-dev zlib1g-dev libtinyxml-dev libgtest-dev libgmock-dev; do
    wanted="$wanted $library:$architecture"
  done
  local as_root=""
  if [ "$(id -u)" -ne 0 ]; then as_root="sudo"; fi
  if ! dpkg --print-foreign-architectures | grep -qx "$architecture"; then
    $as_root dpkg --add-architecture "$architecture"
  fi
  $as_root apt-get update -qq
  # shellcheck disable=SC2086
  DEBIAN_FRONTEND=noninteractive $as_root apt-get install -y -qq --no-remove \
    --no-install-recommends $wanted >/dev/null
}
