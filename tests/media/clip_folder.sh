# What the scripts have in common that make clips. They source this file with the folder that they fill as their first
# argument: it is made anew and becomes the current one. A folder that the same script has filled is left as it is.

folder=$1
stamp=$folder/.made-by-$(cat "$0" "${BASH_SOURCE[0]}" | sha256sum | cut -c1-16)
[ ! -f "$stamp" ] || exit 0
rm -rf "$folder"
mkdir -p "$folder"
cd "$folder"
stamp=$(basename "$stamp")

# F SIZE SECONDS ARGUMENT...: a moving test picture at 25 a second.
F() {
    local size=$1 seconds=$2
    shift 2
    ffmpeg -nostdin -v error -y -f lavfi -i "testsrc2=s=$size:r=25:d=$seconds" "$@"
}
