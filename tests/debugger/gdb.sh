# For the scripts of this folder, which set `prefix`, the installation to work with.
# shellcheck shell=bash
# shellcheck disable=SC2154

# compile COMPILER SOURCE PROGRAM OPTION...: as a client who debugs would. The program's search for
# libraries is left to LD_LIBRARY_PATH.
compile() {
    local compiler=$1 source=$2 program=$3
    shift 3
    "$compiler" -std=c++20 -g -O0 "$@" -I "$prefix/include" "$source" -o "$program" \
        -L "$prefix/lib" -lVq -lOS
}

# all_types COMPILER: the option that makes a program describe all types itself.
all_types() {
    case $1 in
    *clang*) echo -fstandalone-debug ;;
    *) echo -femit-class-debug-always ;;
    esac
}

# block DOCUMENT LANGUAGE: its first fenced block of that language.
block() {
    awk -v open="\`\`\`$2" '/^```/ { if (inside) exit; inside = $0 == open; next } inside' "$1"
}

# stop_line SOURCE: the line where the debugger is to stop.
stop_line() { grep -n '// stopped here' "$1" | cut -d: -f1; }

# debug ARGUMENT...: gdb as a user has it, but for his own settings, the network and the terminal.
# The callers look at what it prints; its status says whether the last command was an error.
debug() {
    env -u DEBUGINFOD_URLS LC_ALL=C.UTF-8 TERM=dumb gdb -nx -nh -batch \
        -iex 'set width 0' -iex 'set disable-randomization off' -iex 'set startup-with-shell off' \
        "$@" </dev/null 2>&1 || true
}

# require_stop LOG: the program came to its breakpoint.
require_stop() {
    grep -qE '(^|hit )Breakpoint 1, ' "$1" && return
    echo "gdb did not get the program to the breakpoint; may processes be traced here (ptrace)?"
    cat "$1"
    exit 1
}

# stable: the input without what changes from run to run, and without the numbers of the answers.
stable() {
    sed -E -e "s#$prefix#PREFIX#g" -e 's/0x[0-9a-f]{6,}/ADDRESS/g' \
        -e 's/\(LWP [0-9]+\)/(LWP NUMBER)/g' -e 's/^[$][0-9]+ = /= /'
}
