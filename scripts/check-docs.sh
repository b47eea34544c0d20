#!/usr/bin/env bash
# Holds the documents to the code: every log line of the library stands in docs/log-lines.md with its logger and
# severity, every row there is a line that the library can write, every option of the command that the documents name is
# there, and every link between documents leads to a file and a heading.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

page=docs/log-lines.md
failed=0
complain() {
    printf '%s\n' "$*" >&2
    failed=1
}

components=(front support video_decoder video_encoder transform audio container)

# A log statement a line: logger and severity, its source, its file.
sources() {
    find "${components[@]}" -name '*.cpp' -print0 |
        LC_ALL=C sort -z | xargs -0 awk '
        !open && /^[ \t]*(\/\/|#define)/ { next }
        !open && /(FFMPEG|CODRELAY|TRANSFORM)_LOG\(/ { open = 1; text = "" }
        open { text = text $0 }
        open && /;[ \t]*$/ {
            open = 0
            match(text, /_LOG\([A-Z][a-z]+/)
            logger = text ~ /CODRELAY_LOG/ ? "codrelay " : "ffmpeg "
            print logger substr(text, RSTART + 5, RLENGTH - 5) "\t" text "\t" FILENAME
        }'
}

# What our own records write into a line: "record", then the source.
records() { grep -rh --include='*.cpp' 'return out <<' "${components[@]}" | sed 's/^/record\t/' || true; }

# A log statement a line: logger and severity, then its literals in order, each behind a 0x01.
statements() {
    sources | awk -F '\t' '{
        row = $1 "\t"
        while (match($2, /"[^"]*"/)) {
            row = row "\001" substr($2, RSTART + 1, RLENGTH - 2)
            $2 = substr($2, RSTART + RLENGTH)
        }
        print row
    }'
}

# A log statement a line: logger and severity, then a pattern of the texts that it can write. What is no literal is "…", a
# word, a record or nothing; a statement without literals writes one that stands elsewhere in its file.
patterns() {
    { records; sources; } | awk -F '\t' '
        function plain(literal) {
            gsub(/[][\\.$*+?(){}|]/, "[&]", literal)
            return literal
        }
        function operand() {
            if (literals == "") return "(" value ")?"
            if (choice) return "(" literals (count == 1 ? "|" value : "") ")"
            return other ? "(" value ")?" : literals
        }
        function next_operand() { literals = ""; count = choice = other = 0 }
        function pattern_of(text,   pattern) {
            sub(/^[ \t]*<</, "", text)
            next_operand()
            while (text != "" && text !~ /^;/) {
                if (match(text, /^"[^"]*"/)) {
                    literals = literals (choice && count++ ? "|" : "") plain(substr(text, 2, RLENGTH - 2))
                    text = substr(text, RLENGTH + 1)
                } else if (text ~ /^<</) {
                    pattern = pattern operand()
                    next_operand()
                    text = substr(text, 3)
                } else {
                    if (text ~ /^[?]/) choice = 1
                    if (text !~ /^[ \t]/) other = 1
                    text = substr(text, 2)
                }
            }
            return pattern operand()
        }
        function literals_of(file,   line, all) {
            while ((getline line < file) > 0) {
                while (match(line, /"[^"]*"/)) {
                    all = all "|" plain(substr(line, RSTART + 1, RLENGTH - 2))
                    line = substr(line, RSTART + RLENGTH)
                }
            }
            close(file)
            return "(" substr(all, 2) ")"
        }
        BEGIN { value = "…|[A-Za-z0-9_]+" }
        $1 == "record" {
            sub(/.*return out/, "", $2)
            if ($2 ~ /"/) value = value "|" pattern_of($2)
            next
        }
        {
            head = ""
            if (match($2, /TRANSFORM_LOG\([A-Za-z]+, "[A-Za-z]+"\)/)) {
                head = substr($2, RSTART, RLENGTH)
                gsub(/.*, "|"\)$/, "", head)
                head = "<(" value ")> " head ": "
            } else {
                match($2, /_LOG\([A-Za-z]+\)/)
            }
            text = substr($2, RSTART + RLENGTH)
            print $1 "\t" (text ~ /"/ ? head pattern_of(text) : literals_of($3))
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

# The texts of rows that no pattern of their logger and severity fits. A row may tell two, with words between them.
rows_of_nothing() {
    awk -F '\t' '
        NR == FNR { patterns[$1] = patterns[$1] "\n" $2; next }
        function written(text, candidates,   i, n, list) {
            n = split(candidates, list, "\n")
            for (i = 2; i <= n; ++i) if (text ~ ("^" list[i] "$")) return 1
            return 0
        }
        {
            n = split($2, texts, /`[^`]*`/)
            for (i = 1; i <= n; ++i) if (!written(texts[i], patterns[$1])) print $1 ": " texts[i]
        }' <(patterns) <(rows)
}

[ "$(statements | wc -l)" -gt 100 ] || complain "the log statements of the library were not found"
missing=$(missing_statements)
[ -z "$missing" ] || complain "$page lacks these log lines:"$'\n'"$missing"
unwritten=$(rows_of_nothing)
[ -z "$unwritten" ] || complain "$page tells lines that nothing writes:"$'\n'"$unwritten"

documents=(README.md CONTRIBUTING.md docs/*.md)

# The options of a command, by its source and by what it calls to add those that commands share.
options_of() {
    local text adder
    text=$(cat "tools/$1_command.cpp")
    for _ in shared "shared by shared"; do
        for adder in $(grep -oE '\bAdd[A-Za-z]+Options?\(' <<<"$text" | sort -u); do
            text+=$(find tools -name '*.cpp' ! -name '*_command.cpp' -exec sed -n "/^void $adder/,/^}/p" {} +)
        done
    done
    echo --help
    grep -oE '"--[a-z][a-z-]*"' <<<"$text" | tr -d '"' || true
}

# What is written behind the names of a command and of an option: one of them a line, "command --option".
options_named() {
    sed -e ':a' -e '/\\$/{N;s/\\\n//;ta' -e '}' "$1" | grep -oE 'codrelay [a-z]+ [^`|;#&]*' | while read -r _ command rest; do
        grep -oE '(^| )--[a-z][a-z-]*' <<<"$rest" | sed "s/^ */$command /" || true
    done
}

known=$(for source in tools/*_command.cpp; do
    command=$(basename "$source" _command.cpp)
    options_of "$command" | sed "s/^/$command /"
done)
[ "$(wc -l <<<"$known")" -gt 40 ] || complain "the options of the commands were not found"
# In the text an option stands for itself: one of any command, of a script, or of another program.
others='--gtest_filter --transferfile --return --cleanup --disable-network --disable-everything'
alone=$(cut -d ' ' -f 2 <<<"$known"; grep -ohE -- '--[a-z][a-z-]*' scripts/*.sh tests/*/*.sh; tr ' ' '\n' <<<"$others")
for document in "${documents[@]}"; do
    while read -r named; do
        grep -qxF -- "$named" <<<"$known" || complain "$document names codrelay $named, which is not there"
    done < <(options_named "$document")
    while read -r named; do
        grep -qxF -- "$named" <<<"$alone" || complain "$document names $named, an option of nothing"
    done < <(grep -oE '`--[a-z][a-z_-]*' "$document" | tr -d '`')
done

headings() { sed -nE 's/^#+ //p' "$1" | tr '[:upper:]' '[:lower:]' | sed -E 's/[^a-z0-9 _-]//g; s/ /-/g'; }

for document in "${documents[@]}"; do
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
