# shellcheck shell=bash
# quietly COMMAND...: its output is shown only if it fails. Source this file.
quietly() {
  local log
  log=$(mktemp)
  if ! "$@" >"$log" 2>&1; then
    cat "$log" >&2
    rm -f "$log"
    return 1
  fi
  rm -f "$log"
}
