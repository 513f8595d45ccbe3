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

# Builds the preset $1 below build/: all of it, or the targets that follow.
build_preset() {
  if [[ -t 2 ]]; then printf 'Building %s below build/%s …\n' "$1" "$1" >&2; fi
  (cd -- "$root" && quietly cmake --preset "$1" && quietly cmake --build --preset "$1" ${2:+--target "${@:2}"})
}
