# Turns each example of the public headers, written on one line as  /// Example: `code`,  into a test of its own.
match($0, /\/\/\/ Example: `.*assert.*`$/) {
    header = FILENAME
    gsub(/.*\/|\.h$/, "", header)
    printf "TEST(UtilityExamples, %sLine%d) { %s }\n", header, FNR, substr($0, RSTART + 14, RLENGTH - 15)
    ++examples
}
/Example:/ { ++mentioned }
END { exit !examples || examples != mentioned }
