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

# Likewise, for a command that takes long: prints the newest line of its output every 10 s or so.
with_progress() {
  local log status=0
  log=$(mktemp)
  "$@" 2>&1 | tee -- "$log" | newest_lines >&2 || status=$?
  if ((status != 0)); then cat -- "$log" >&2; fi
  rm -f -- "$log"
  ((status == 0)) || fail "failed: $*"
}

newest_lines() {
  local line newest='…' printed=$SECONDS status=0
  while ((status == 0 || status > 128)); do # over 128: no line came within 2 s
    status=0
    IFS= read -r -t 2 line || status=$?
    if ((status == 0)); then newest=$line; fi
    if ((SECONDS - printed >= 10)); then
      printf '  %.100s\n' "$newest"
      printed=$SECONDS
    fi
  done
}

# Builds the preset $1: all of it, or the targets that follow. Prints a line before and
# after on standard error, and the build's progress in between.
build_preset() {
  local build=(cmake --build --preset "$1" ${2:+--target "${@:2}"}) targets=${*:2} begin=$SECONDS
  printf 'Building %s with the preset %s …\n' "${targets:-everything}" "$1" >&2
  (
    cd -- "$root"
    quietly cmake --preset "$1"
    if [[ -t 2 ]]; then "${build[@]}" >&2; else with_progress "${build[@]}"; fi
  )
  printf 'Built in %d s\n' "$((SECONDS - begin))" >&2
}
