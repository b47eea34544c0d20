#!/usr/bin/env bash
# Writes the command's manual page out of what the command itself tells:  make_man_page.sh COMMAND PAGE
set -euo pipefail

command=$1
page=$2

# Text as it stands: backslashes and what a line may not begin with are roff's.
verbatim() { printf '.nf\n'; sed -e 's/\\/\\e/g' -e "s/^[.']/\\\\\&&/" -e 's/-/\\-/g'; printf '.fi\n'; }

subcommands() { "$command" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p'; }

summary() { "$command" --help | head -n 1; }

write_page() {
    local name
    printf '.TH CODRELAY 1 "" "%s" "User Commands"\n' "$("$command" --version)"
    printf '.SH NAME\ncodrelay \\- looks into media files, decodes and encodes them\n'
    printf '.SH SYNOPSIS\n.B codrelay\n.I COMMAND\n[\\fIOPTIONS\\fR] [\\fIFILE\\fR]\n'
    printf '.SH DESCRIPTION\n'
    summary
    printf '.SH COMMANDS\n'
    for name in $(subcommands); do
        printf '.SS "codrelay %s"\n' "$name"
        "$command" "$name" --help | verbatim
    done
    printf '.SH OPTIONS\n'
    "$command" --help | sed -n '/^Options:/,/^$/p' | sed '1d;$d' | verbatim
}

mkdir -p "$(dirname "$page")"
[ -n "$(subcommands)" ] || { echo "$command --help lists no subcommands" >&2; exit 1; }
write_page >"$page"
