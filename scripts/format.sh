#!/usr/bin/env bash
# Formats C++ files with clang-format 14 and the rules in .clang-format. Other versions format
# differently: where there is no 14, as on Debian 13, the check is skipped.
#
#   scripts/format.sh           the files that differ from the last commit, and new ones
#   scripts/format.sh --all     all files
#   scripts/format.sh --check   changes nothing; fails when a file is not formatted
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

folders=(src tests bench)

formatter() {
  local name
  for name in clang-format-14 clang-format; do
    if command -v "$name" >/dev/null && [[ $("$name" --version) == *" 14."* ]]; then
      echo "$name"
      return
    fi
  done
  return 1
}

is_source() {
  [[ $1 == *.cpp || $1 == *.h ]]
}

all_sources() {
  find "${folders[@]}" -type f \( -name '*.cpp' -o -name '*.h' \) -print0
}

changed_sources() {
  local file
  while IFS= read -r -d '' file; do
    if is_source "$file" && [[ -f $file ]]; then
      printf '%s\0' "$file"
    fi
  done < <(git diff --name-only -z --relative HEAD -- "${folders[@]}" &&
    git ls-files --others --exclude-standard -z -- "${folders[@]}")
}

if ! format=$(formatter); then
  echo "There is no clang-format 14 here, and other versions format differently." >&2
  [[ ${1:-} == --check ]] || exit 1
  echo "Skipped: the format was not checked." >&2
  exit 0
fi
case ${1:-} in
  "") changed_sources | xargs -0 -r "$format" -i ;;
  --all) all_sources | xargs -0 -r "$format" -i ;;
  --check) all_sources | xargs -0 -r "$format" --dry-run -Werror ;;
  *)
    echo "Unknown argument: $1 (known: --all, --check)" >&2
    exit 2
    ;;
esac
