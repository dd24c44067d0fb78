# What doxygen needs beyond the plain text of a header or of a document. As many lines come out as
# go in, so that its messages name the right ones.

# A line of an example, four columns further in than the text; a line between paragraphs.
function is_code(i) { return line[i] ~ /^ *\/\/\/     / }
function is_blank(i) { return line[i] ~ /^ *\/\/\/$/ }

# The last line of the example that starts at `first`.
function last_of(first,    i, last) {
    for (i = first; is_code(i) || is_blank(i); ++i) {
        if (is_code(i)) last = i
    }
    return last
}

# Examples in C++ are shown as such: what is around them becomes their fences.
function fence(first,    last, i, text) {
    last = last_of(first)
    for (i = first; i <= last; ++i) text = text line[i]
    if (text !~ /[;{]/ || !is_blank(first - 1) || !is_blank(last + 1)) return last
    line[first - 1] = line[first - 1] " ~~~{.cpp}"
    line[last + 1] = line[last + 1] " ~~~"
    for (i = first; i <= last; ++i) sub(/\/\/\/     /, "/// ", line[i])
    return last
}

# A quote would end the code around it, unless that is between two marks at each end.
function with_quotes(text,    part, n, i, all) {
    n = split(text, part, "`")
    if (n % 2 == 0) return text
    for (i = 2; i < n; i += 2) if (part[i] ~ /'/) part[i] = "`" part[i] "`"
    all = part[1]
    for (i = 2; i <= n; ++i) all = all "`" part[i]
    return all
}

# Headers have pages, whatever else is outside this folder has none and is only named.
function with_pages(text,    words) {
    gsub(/\]\(\.\.\/ole\//, "](@ref ", text)
    while (match(text, /\[[^]]*\]\(\.\.\/[^)]*\)/)) {
        words = substr(text, RSTART + 1, RLENGTH - 1)
        sub(/\].*/, "", words)
        text = substr(text, 1, RSTART - 1) words substr(text, RSTART + RLENGTH)
    }
    return text
}

# A heading of a document is linked to by its words, as where the project is hosted; a name of such
# a place is one among all documents here, so the document's is put before it.
function with_anchors(text,    document, words) {
    document = FILENAME
    gsub(/.*\/|\.md$/, "", document)
    gsub(/\]\(#/, "](#" document "-", text)
    while (match(text, /\]\([a-z-]+\.md#/)) {
        text = substr(text, 1, RSTART + 1) "#" substr(text, RSTART + 2, RLENGTH - 6) "-" \
            substr(text, RSTART + RLENGTH)
    }
    if (text !~ /^##+ /) return text
    words = tolower(text)
    sub(/^#+ */, "", words)
    gsub(/[^a-z0-9 _-]/, "", words)
    gsub(/ /, "-", words)
    return text " {#" document "-" words "}"
}

FILENAME ~ /\.md$/ {
    if (/^ *```/) in_fence = !in_fence
    print in_fence ? $0 : with_anchors(with_pages(with_quotes($0)))
    next
}

{ line[NR] = /\/\/\// ? with_quotes($0) : $0 }

END {
    if (FILENAME ~ /\.md$/) exit
    for (i = 1; i <= NR; ++i) {
        if (is_code(i)) i = fence(i)
    }
    for (i = 1; i <= NR; ++i) {
        # The comment at the start speaks of the file; `#pragma once` makes up for the line. In a
        # file without one, nobody would ask for comments on global names either.
        if (i == 1) line[i] = (line[i] ~ /^\/\/\/ / ? "/// \\file\n" : "/** \\file */ ") line[i]
        if (line[i] == "#pragma once") continue
        # A class of another library's namespace is only known within that.
        if (line[i] == "#include <fmt/format.h>") line[i] = "namespace fmt {}"
        # The graphs are about the library's own headers.
        if (line[i] ~ /^#include </) line[i] = ""
        # Rules for threads have a heading.
        sub(/\/\/\/ Thread rule: */, "/// \\par Thread rule\\ilinebr ", line[i])
        # What opens a group of declarations is apart from the comment that is for each of them.
        sub(/\/\/\/ @\{$/, "/** @{ */", line[i])
        # Getters and setters would be listed beside those that they override, which are explained.
        overrides = overrides || line[i] ~ / [gs]et[A-Z][A-Za-z]*\(.* override \{/
        was_override = overrides
        if (line[i] ~ /\}$/) overrides = 0
        if (was_override) line[i] = ""
        # Enumerations whose enumerators are the application's would pass for variables.
        if (line[i] ~ /^enum VQ_EXPORT .* : int;$/) sub(/;$/, " {};", line[i])
        print line[i]
    }
}
