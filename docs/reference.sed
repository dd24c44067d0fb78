# What doxygen needs beyond the plain text of a header; messages still name the right lines.
# The comment at the start speaks of the file. The line that is added makes up for `#pragma once`.
1s|^/// |/// \\file\n/// |
# Of a file without such a comment, global names would not be asked for comments either.
1{/^\/\/\/ /!s|^|/** \\file */|}
/^#pragma once$/d
# The graphs are about the library's own headers.
s|^#include <.*||
# Rules for threads have a heading.
s|^\( *\)/// Thread rule: *|\1/// \\par Thread rule\\ilinebr |
# What opens a group of declarations is apart from the comment that is for each of them.
s|^\( *\)/// @{$|\1/** @{ */|
# Enumerations whose enumerators are the application's would pass for variables.
s|^enum VQ_EXPORT \(.*\) : int;|enum \1 : int {};|
