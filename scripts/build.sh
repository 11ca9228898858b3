# Functions for run and check: install what is missing, build quietly.  Words go to standard error.
# Source this file with $root set to the project's folder.

say() { printf '%s\n' "$*" >&2; }

# need_packages USE...: installs the packages of scripts/packages.txt that these uses lack.
need_packages() {
  local package use missing=()
  while read -r package use; do
    case " run $* " in *" $use "*) ;; *) continue ;; esac
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] ||
      missing+=("$package")
  done < <(grep -v '^#' "$root/scripts/packages.txt")
  [ "${#missing[@]}" -gt 0 ] || return 0

  local as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  say "Installing ${missing[*]}"
  mkdir -p "$root/build"
  local log="$root/build/packages.log"
  if ! { "${as_root[@]}" apt-get update &&
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
      apt-get install -y --no-install-recommends "${missing[@]}"; } >"$log" 2>&1 </dev/null; then
    cat "$log" >&2
    say "The packages could not be installed; the lines above say why."
    return 1
  fi
}

# build PRESET [TARGET]: what CMake says is shown only when it fails.
build() {
  local preset=$1 target=${2:-all} log
  mkdir -p "$root/build/$preset"
  log="$root/build/$preset/build.log"
  # One at a time, for two builds in one folder would write the same files.
  exec 9>"$root/build/$preset.lock"
  flock 9
  if ! (cd "$root" && cmake --preset "$preset" &&
    cmake --build --preset "$preset" -j2 --target "$target") >"$log" 2>&1 </dev/null; then
    cat "$log" >&2
    say "The build of preset $preset failed; the lines above say why."
    return 1
  fi
  exec 9>&-
}
