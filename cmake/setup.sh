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

# install_packages GROUP...: installs the packages of these groups of packages.txt that are missing.
install_packages() {
  local groups=" $* " group package instead
  local -a wanted=() missing=()
  while read -r group package instead; do
    [[ $groups == *" $group "* ]] || continue
    [[ -n $instead ]] && command -v "$instead" >/dev/null && continue
    wanted+=("$package")
  done < <(grep -v '^#' "$root/packages.txt")
  [[ -n ${VELORIN_ASSUME_PACKAGES:-} ]] && return
  if ! command -v dpkg-query >/dev/null; then
    fail "this is not a Debian system. Install what Debian calls ${wanted[*]}, then run this again" \
      "with VELORIN_ASSUME_PACKAGES=1 in the environment."
  fi
  for package in "${wanted[@]}"; do
    dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q ' installed$' ||
      missing+=("$package")
  done
  ((${#missing[@]})) || return 0
  echo "Installing Debian packages, which can take minutes: ${missing[*]}"
  local -a as_root=()
  if ((EUID != 0)); then
    command -v sudo >/dev/null || fail "run this once as root: apt-get install ${missing[*]}"
    as_root=(sudo)
  fi
  local log
  log=$(mktemp)
  if ! {
    ${as_root[@]+"${as_root[@]}"} apt-get update -q &&
      ${as_root[@]+"${as_root[@]}"} env DEBIAN_FRONTEND=noninteractive \
        apt-get install -q -y --no-install-recommends "${missing[@]}"
  } >"$log" 2>&1; then
    tail -n 15 "$log" >&2
    rm -f "$log"
    fail "the packages could not be installed; above stands the end of what apt-get said. Where they" \
      "have other names, install them by hand and set VELORIN_ASSUME_PACKAGES=1."
  fi
  rm -f "$log"
  installed=1
}

# build PRESET [OPTION...]: builds the preset. It is configured the first time, and again when there are
# options of cmake, new packages or other presets. The variable `target` may name the one target to
# build, `part` which build of how many it is.
build() {
  echo "Building${part:+ $part}: $1"
  (
    cd "$root" &&
      if (($# > 1)) || [[ -n ${installed:-} || CMakePresets.json -nt build/$1/build.ninja ]]; then
        cmake --preset "$@" --log-level=NOTICE >/dev/null
      fi &&
      cmake --build --preset "$1" ${target:+--target "$target"}
  ) || fail "the preset $1 could not be built."
}
