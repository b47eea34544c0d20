#!/usr/bin/env bash
# Keeps every kind of object busy for a while, and fails if memory or open files grow:  scripts/soak.sh [SECONDS]
# Half an hour unless told otherwise. Prints what the process holds every ten seconds.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

seconds=${1:-1800}
case $seconds in
*[!0-9]* | '') die "not a number of seconds: $seconds" "scripts/soak.sh 600" ;;
esac
[ "$seconds" -ge 90 ] || die "$seconds seconds show nothing: the first minute does not count" "scripts/soak.sh 600"

cd "$(project_root)"
scripts/setup.sh
say "building the load"
cmake --preset dev >/dev/null
cmake --build --preset dev --target soak
build=build/dev
tests/media/make_media.sh "$build/media"
say "running it for $seconds seconds"
exec "$build/bin/soak" "$seconds"
