# What the scripts share; sourced by Bash. Sets `root`, the top folder of the project.

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../.." && pwd -P)

fail() {
  printf '%s: %s\n' "${0##*/}" "$*" >&2
  exit 1
}

# Runs a command whose output matters only when it fails.
quietly() {
  local output status=0
  output=$("$@" 2>&1) || status=$?
  if ((status != 0)); then
    printf '%s\n' "$output" >&2
    fail "failed: $*"
  fi
}

# Builds the preset $1 below build/: all of it, or the targets that follow. Prints a line before and
# after on standard error, and on a terminal the build's progress, too.
build_preset() {
  local build=(cmake --build --preset "$1" ${2:+--target "${@:2}"}) targets=${*:2} begin=$SECONDS
  printf 'Building %s below build/%s …\n' "${targets:-everything}" "$1" >&2
  (
    cd -- "$root"
    quietly cmake --preset "$1"
    if [[ -t 2 ]]; then "${build[@]}" >&2; else quietly "${build[@]}"; fi
  )
  printf 'Built in %d s\n' "$((SECONDS - begin))" >&2
}
