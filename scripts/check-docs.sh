#!/usr/bin/env bash
# Holds the documents to the code: every log line of the library stands in docs/log-lines.md with its logger and
# severity, and every link between documents leads to a file and a heading.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

page=docs/log-lines.md
failed=0
complain() {
    printf '%s\n' "$*" >&2
    failed=1
}

# A log statement a line: logger and severity, then its literals in order, each behind a 0x01.
statements() {
    find front support video_decoder video_encoder transform audio container -name '*.cpp' -print0 |
        LC_ALL=C sort -z | xargs -0 awk '
        !open && /^[ \t]*(\/\/|#define)/ { next }
        !open && /(FFMPEG|CODRELAY|TRANSFORM)_LOG\(/ { open = 1; text = "" }
        open { text = text $0 }
        open && /;[ \t]*$/ {
            open = 0
            match(text, /_LOG\([A-Z][a-z]+/)
            row = (text ~ /CODRELAY_LOG/ ? "codrelay " : "ffmpeg ") substr(text, RSTART + 5, RLENGTH - 5) "\t"
            while (match(text, /"[^"]*"/)) {
                row = row "\001" substr(text, RSTART + 1, RLENGTH - 2)
                text = substr(text, RSTART + RLENGTH)
            }
            print row
        }'
}

# A row of the page a line: logger and severity, then the text.
rows() { sed -nE 's/^\| `(.*)` \| ((codrelay|ffmpeg) [A-Z][a-z]+) \|.*/\2\t\1/p' "$page" | sed 's/\\|/|/g'; }

# The statements whose literals do not follow each other in any row of their logger and severity.
missing_statements() {
    awk -F '\t' '
        NR == FNR { rows[$1] = rows[$1] "\n" $2; next }
        function holds(row, literals,   i, n, parts, at) {
            n = split(literals, parts, "\001")
            for (i = 2; i <= n; ++i) {
                at = index(row, parts[i])
                if (at == 0) return 0
                row = substr(row, at + length(parts[i]))
            }
            return 1
        }
        {
            n = split(rows[$1], candidates, "\n")
            for (i = 1; i <= n; ++i) if (holds(candidates[i], $2)) next
            gsub("\001", " ", $2)
            print $1 ":" $2
        }' <(rows) <(statements)
}

[ "$(statements | wc -l)" -gt 100 ] || complain "the log statements of the library were not found"
missing=$(missing_statements)
[ -z "$missing" ] || complain "$page lacks these log lines:"$'\n'"$missing"

headings() { sed -nE 's/^#+ //p' "$1" | tr '[:upper:]' '[:lower:]' | sed -E 's/[^a-z0-9 _-]//g; s/ /-/g'; }

for document in README.md CONTRIBUTING.md docs/*.md; do
    while read -r link; do
        target=${link%%#*}
        file=$document
        [ -z "$target" ] || file=$(dirname "$document")/$target
        if [ ! -e "$file" ]; then
            complain "$document links to $link, which is not there"
        elif [ "$link" != "$target" ] && ! headings "$file" | grep -qx -- "${link#*#}"; then
            complain "$document links to $link, where there is no such heading"
        fi
    done < <(grep -oE '\]\([^) ]+\)' "$document" | sed -E 's/^\]\(//; s/\)$//' | grep -vE '^[a-z]+:' || true)
done
exit "$failed"
