# SPDX-License-Identifier: Apache-2.0
# Shared by the commands of this repository; sourced, not run.

# Says in one line what happens next.
step() { printf '\n== %s\n' "$*"; }

# Installs those of the given Debian packages that are missing.
install_missing() {
  local missing=() package
  for package in "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' ||
      missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  step "installing ${missing[*]}"
  local sudo=()
  if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
      echo "These packages are missing and there is no sudo; install them first: ${missing[*]}" >&2
      return 1
    fi
    sudo=(sudo)
  fi
  "${sudo[@]}" apt-get update -qq &&
    "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive \
      apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

packages_build=(g++ cmake ninja-build make libcli11-dev nlohmann-json3-dev libelf-dev help2man graphviz
  dpkg-dev file)
packages_test=(libgtest-dev python3 python3-jsonschema)
packages_count=(libbenchmark-dev valgrind)
packages_fuzz=(clang libclang-rt-dev)
packages_coverage=(clang libclang-rt-dev llvm)
packages_armhf=(g++-arm-linux-gnueabihf qemu-user)
packages_board=(qemu-system-arm cpio kmod e2fsprogs)
packages_abi=(abigail-tools)
packages_all=(lintian clang-format clang-tidy googletest pkg-config git debootstrap chromium)

# The name of this machine's Debian release.
debian_release() { sed -n 's/^VERSION_CODENAME=//p' /etc/os-release; }

# The sources that this machine takes that release and its updates from, as in a sources.list.
debian_sources() {
  apt-get indextargets --format 'deb $(REPO_URI) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' |
    grep -E " $(debian_release)(-updates|-security)? " | sort -u
}

# Where this machine takes the release itself from.
debian_mirror() {
  apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' "Release: $(debian_release)" |
    head -n 1
}

# Keeps what it reads in the file $1; a terminal shows the last line of it meanwhile.
keep_log() {
  local line
  if ! [ -t 1 ]; then
    cat >"$1"
    return
  fi
  tee "$1" | while IFS= read -r line; do
    printf '\r\033[K%.*s' "$((${COLUMNS:-80} - 1))" "$line"
  done
  printf '\r\033[K'
}

# Configures and builds the preset $1; prints the log only when that fails. Further arguments go to
# the configuration.
build_quietly() {
  local preset=$1 log
  shift
  mkdir -p build
  log=build/$preset.log
  if ! { cmake --preset "$preset" "$@" && cmake --build --preset "$preset"; } 2>&1 |
    keep_log "$log"; then
    cat "$log"
    return 1
  fi
}
