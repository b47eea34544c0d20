#!/usr/bin/env bash
# Gives seven formats of an FFmpeg 4 source tree the long names by which the library finds them.
#
#   scripts/rename-formats.sh DIR       changes the tree in DIR; names that are set already stay
#   scripts/rename-formats.sh --list    prints the rules and changes nothing
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

# One rule a line: file|old|new.
long_names='flvenc.c|FLV (Flash Video)|FLV format
movenc.c|3GP (3GPP file format)|3GP format
movenc.c|3GP2 (3GPP2 file format)|3GP2 format
matroskaenc.c|WebM|WebM file format
mpegtsenc.c|MPEG-TS (MPEG-2 Transport Stream)|MPEG-2 transport stream format
wavdec.c|WAV / WAVE (Waveform Audio)|WAV format
asfdec_f.c|ASF (Advanced / Active Streaming Format)|ASF format'

count_of() { grep -cF "NULL_IF_CONFIG_SMALL(\"$1\")" "$2" || true; }

rename_formats() {
    local folder=$1/libavformat file old new
    while IFS='|' read -r file old new; do
        [ -f "$folder/$file" ] || die "there is no $folder/$file" "name the top folder of an FFmpeg 4 source tree"
        sed -i "s|NULL_IF_CONFIG_SMALL(\"$old\")|NULL_IF_CONFIG_SMALL(\"$new\")|" "$folder/$file"
        [ "$(count_of "$new" "$folder/$file")" = 1 ] ||
            die "neither \"$old\" nor \"$new\" stands exactly once in $folder/$file" \
                "look at the file, and set its .long_name to \"$new\" by hand"
    done <<<"$long_names"
}

case ${1:-} in
--list) printf '%s\n' "$long_names" ;;
'' | -*) die "no source tree was named" "scripts/rename-formats.sh DIR" ;;
*) rename_formats "$1" ;;
esac
