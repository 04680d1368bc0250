# To be sourced by scripts that run tests.

# Prints a folder for the files of tests: in memory where there is enough of it and programs may run
# from there, so that no flush has to wait for a disk.
test_folder() {
  local memory=/dev/shm free
  free=$(df --output=avail -B1M "$memory" 2>/dev/null | tail -1) || free=0
  if [ "${free:-0}" -lt 4096 ] || findmnt -no OPTIONS -T "$memory" | grep -qw noexec; then
    memory=/tmp
  fi
  echo "$memory"
}
