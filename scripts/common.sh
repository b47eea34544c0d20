# Shared by the scripts beside it: messages, root, the cache. Sourced, never run.

say() { printf '==> %s\n' "$*" >&2; }

# die MESSAGE ADVICE: what went wrong, and what to do about it.
die() {
    printf 'error: %s\n' "$1" >&2
    [ $# -lt 2 ] || printf '  try: %s\n' "$2" >&2
    exit 1
}

project_root() { (cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P); }

# Everything that is built once per machine lives here, outside the checkout.
cache_root() { printf '%s\n' "${CODRELAY_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/codrelay}"; }
