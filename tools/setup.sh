# Shell functions that ./run, ./test and .ci/run share. Sourced, not run.

# install_missing PACKAGE…: installs those Debian packages that are not there.
install_missing() {
  local missing=() package
  for package in "$@"; do
    dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed ||
      missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
      echo "These packages are missing, and there is neither root nor sudo to install them:" >&2
      echo "  ${missing[*]}" >&2
      return 1
    fi
    as_root=(sudo)
  fi
  echo "Installing: ${missing[*]}" >&2
  local log
  log=$(mktemp)
  if ! { "${as_root[@]}" apt-get update &&
         "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y \
           --no-install-recommends "${missing[@]}"; } >"$log" 2>&1; then
    cat "$log" >&2
    rm -f "$log"
    return 1
  fi
  rm -f "$log"
}

# install_optional PACKAGE…: the same, but a package that cannot be had is only reported.
install_optional() {
  local package
  for package in "$@"; do
    install_missing "$package" || echo "Optional package $package is not available." >&2
  done
}

# configure PRESET [OPTION…]: makes or refreshes a build folder, quietly unless it fails.
configure() {
  local preset=$1 log
  shift
  log=$(mktemp)
  if ! cmake --preset "$preset" "$@" >"$log" 2>&1; then
    cat "$log" >&2
    rm -f "$log"
    return 1
  fi
  rm -f "$log"
}

# build_target PRESET TARGET: builds one target, with progress only when there is much to do.
build_target() {
  local preset=$1 target=$2 log
  [ -f "build/$preset/build.ninja" ] || configure "$preset"
  if [ "$(ninja -C "build/$preset" -n "$target" 2>/dev/null | wc -l)" -gt 12 ]; then
    echo "Building $target (the first time takes a few minutes) ..." >&2
  fi
  log=$(mktemp)
  if ! cmake --build --preset "$preset" --target "$target" >"$log" 2>&1; then
    cat "$log" >&2
    rm -f "$log"
    return 1
  fi
  rm -f "$log"
}
