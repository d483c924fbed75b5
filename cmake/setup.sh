# For the commands in the top folder: what is missing is installed, what is old is built.
# Sourced with `root` set to the project's folder.

fail() {
  printf '%s: %s\n' "${0##*/}" "$*" >&2
  exit 1
}

# refuse WORDS...: ends with what is wrong with the arguments.
refuse() {
  printf '%s: %s; ./%s --help lists the options.\n' "${0##*/}" "$*" "${0##*/}" >&2
  exit 2
}

on_macos() {
  [[ $(uname -s) == Darwin ]]
}

has_display() {
  on_macos || [[ -n ${DISPLAY:-}${WAYLAND_DISPLAY:-} ]]
}

# install_packages GROUP...: installs the packages of these groups of packages.txt that are missing.
install_packages() {
  local prefix= groups= group package instead
  local wanted=() missing=()
  ! on_macos || prefix=homebrew-
  for group in "$@"; do groups+=" $prefix$group "; done
  while read -r group package instead; do
    [[ $groups == *" $group "* ]] || continue
    [[ -n $instead ]] && command -v "$instead" >/dev/null && continue
    wanted+=("$package")
  done < <(grep -v '^#' "$root/packages.txt")
  [[ -z ${VELORIN_ASSUME_PACKAGES:-} ]] || return 0
  check_package_manager ${wanted[@]+"${wanted[@]}"}
  for package in ${wanted[@]+"${wanted[@]}"}; do
    has_package "$package" || missing+=("$package")
  done
  ((${#missing[@]})) || return 0
  echo "Installing packages, which can take minutes: ${missing[*]}"
  if ((EUID != 0)) && ! on_macos && ! command -v sudo >/dev/null; then
    fail "run this once as root: apt-get install ${missing[*]}"
  fi
  local log
  log=$(mktemp)
  if ! fetch_packages "${missing[@]}" >"$log" 2>&1; then
    tail -n 15 "$log" >&2
    rm -f "$log"
    fail "the packages could not be installed; above stands the end of what was said. Where they" \
      "have other names, install them by hand and set VELORIN_ASSUME_PACKAGES=1."
  fi
  rm -f "$log"
  installed=1
}

# check_package_manager PACKAGE...: ends with advice where the packages cannot be looked for.
check_package_manager() {
  local advice="Install what $(on_macos && echo Homebrew || echo Debian) calls $*, then run this again \
with VELORIN_ASSUME_PACKAGES=1 in the environment."
  if ! on_macos; then
    command -v dpkg-query >/dev/null || fail "this is neither a Debian system nor a Mac. $advice"
    return 0
  fi
  xcode-select -p >/dev/null 2>&1 || fail "the compiler is missing. Run this once: xcode-select --install"
  command -v brew >/dev/null || fail "Homebrew (https://brew.sh) is missing. $advice"
}

has_package() {
  if on_macos; then
    [[ " $(brew list --formula -1 | tr '\n' ' ') " == *" $1 "* ]]
  else
    dpkg-query -W -f '${Status}' "$1" 2>/dev/null | grep -q ' installed$'
  fi
}

# fetch_packages PACKAGE...: installs them as root, or with Homebrew, which refuses to run as root.
fetch_packages() {
  if on_macos; then
    brew install "$@"
    return
  fi
  local as_root=()
  ((EUID == 0)) || as_root=(sudo)
  ${as_root[@]+"${as_root[@]}"} apt-get update -q &&
    ${as_root[@]+"${as_root[@]}"} env DEBIAN_FRONTEND=noninteractive \
      apt-get install -q -y --no-install-recommends "$@"
}

# build PRESET [OPTION...]: builds the preset. It is configured the first time, and again when there are
# options of cmake, new packages or other presets, or when VELORIN_WERROR decides on warnings. The
# variable `target` may name the one target to build, `part` which build of how many it is.
build() {
  echo "Building${part:+ $part}: $1"
  (
    cd "$root" &&
      if (($# > 1)) || [[ -n ${installed:-}${VELORIN_WERROR:-} || CMakePresets.json -nt build/$1/build.ninja ]]; then
        cmake --preset "$@" --log-level=NOTICE >/dev/null
      fi &&
      cmake --build --preset "$1" ${target:+--target "$target"}
  ) || fail "the preset $1 could not be built."
}
