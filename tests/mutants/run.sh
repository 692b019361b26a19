#!/usr/bin/env bash
#
# Plants small faults in the library, one at a time, and shows which check notices each.
#
#     tests/mutants/run.sh [--table FILE] [--jobs N] [NAME...]
#
# The faults are in the files *.mutants next to this script; without names, all of them are planted. Everything happens
# in a copy of the tree in a temporary folder. With --table, and with all faults planted, the results are written to
# FILE as a table in Markdown.
#
# It fails when the text that a fault replaces does not stand exactly once in its file, when a check fails without any
# fault or cannot be built with one, and when no check notices a fault that is not marked as equivalent.
#
# An entry of a list:
#
#     [name]
#     file: the source file, in VexaClient/
#     fault: what is wrong, in a sentence
#     rule: what the library promises instead
#     checks: which programs are tried first: requests, responses, streams, platform (the tests of that name), fuzz
#             (the inputs of the fuzzers of the library) and simulate
#     equivalent: why no check can notice it; most have no such line
#     find:
#     |the lines to be replaced, each behind a bar; the first and the last may be parts of lines
#     replace:
#     |the lines that take their place; none to leave them out

set -euo pipefail
export LC_ALL=C.UTF-8

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(cd "$here/../.." && pwd)

# A program that takes longer than this, in seconds, is held up by the fault.
patience=60

all_checks="requests responses streams platform fuzz simulate"
fuzzers="incoming_message subscription_hash echo_record"

fail() {
    echo "mutants: $1" >&2
    exit 1
}

# ---------------------------------------------------------------- the lists

names=()
declare -A file fault rule checks equivalent find replacement

read_list() {
    local list=$1 line name="" part="" number=0
    while IFS= read -r line || [[ -n $line ]]; do
        number=$(( number + 1 ))
        case $line in
            "") part="" ;;
            "|"*)
                case $part in
                    find) find[$name]+=${find[$name]:+$'\n'}${line#|} ;;
                    replace) replacement[$name]+=${replacement[$name]:+$'\n'}${line#|} ;;
                    *) fail "$list:$number: a line of code outside of find and replace" ;;
                esac
                ;;
            "["*"]")
                name=${line:1:-1}
                [[ -z ${file[$name]:-} ]] || fail "$list:$number: a second '$name'"
                names+=("$name")
                find[$name]=""
                replacement[$name]=""
                ;;
            "find:") part="find" ;;
            "replace:") part="replace" ;;
            "file: "*) file[$name]=${line#*: } ;;
            "fault: "*) fault[$name]=${line#*: } ;;
            "rule: "*) rule[$name]=${line#*: } ;;
            "checks: "*) checks[$name]=${line#*: } ;;
            "equivalent: "*) equivalent[$name]=${line#*: } ;;
            *) fail "$list:$number: cannot be read: $line" ;;
        esac
    done <"$list"
}

# Complains of an entry that lacks a part or whose text does not stand exactly once in its file.
check_entry() {
    local name=$1 content without check
    [[ -n ${file[$name]:-} && -n ${fault[$name]:-} && -n ${rule[$name]:-} && -n ${checks[$name]:-} ]] ||
        fail "$name lacks a file, a fault, a rule or checks"
    for check in ${checks[$name]}; do
        [[ " $all_checks " == *" $check "* ]] || fail "$name: there is no check '$check'"
    done
    [[ ${file[$name]} == VexaClient/* && -f $root/${file[$name]} ]] || fail "$name: there is no file ${file[$name]}"
    [[ -n ${find[$name]} && ${find[$name]} != "${replacement[$name]}" ]] || fail "$name replaces nothing"
    content=$(<"$root/${file[$name]}")
    without=${content//"${find[$name]}"/}
    (( ${#content} - ${#without} == ${#find[$name]} )) ||
        fail "$name: its text stands $(( (${#content} - ${#without}) / ${#find[$name]} )) times in ${file[$name]}"
}

# ---------------------------------------------------------------- building and checking

copy_tree() {
    local each
    (
        cd "$root"
        git ls-files -z --cached --others --exclude-standard | while IFS= read -r -d '' each; do
            [[ ! -f $each ]] || printf '%s\0' "$each"
        done | tar --null --files-from=- --create
    ) | tar --extract --directory "$copy"
}

# The targets of a check.
targets() {
    local fuzzer
    case $1 in
        fuzz) for fuzzer in $fuzzers; do echo "fuzz_$fuzzer"; done ;;
        simulate) echo simulate ;;
        *) echo "test_$1" ;;
    esac
}

# Builds what the checks need. What the compiler says is in the log.
build() {
    local check wanted=()
    for check in "$@"; do
        mapfile -t -O ${#wanted[@]} wanted < <(targets "$check")
    done
    cmake --build "$tree" --parallel "$jobs" --target "${wanted[@]}" >"$logs/build" 2>&1
}

# Runs a program, and says in `verdict` which test failed when one did.
run_program() {
    local log=$logs/check code=0 failed
    verdict=""
    (cd "$tree" && exec timeout --kill-after=10 "$patience" "$@") >"$log" 2>&1 </dev/null || code=$?
    [[ $code -ne 0 ]] || return 0
    mapfile -t failed < <(sed -n 's/^\[  FAILED  \] \([A-Za-z0-9_/]*\.[A-Za-z0-9_/]*\).*/\1/p' "$log" | awk '!seen[$0]++')
    if [[ ${#failed[@]} -gt 0 ]]; then
        verdict=${failed[0]}
        [[ ${#failed[@]} -eq 1 ]] || verdict+=" and $(( ${#failed[@]} - 1 )) more"
    else
        verdict=$(sed -n 's/^\[ RUN      \] \(.*\)$/\1/p' "$log" | tail -n 1)
        [[ -n $verdict ]] || verdict=$(basename "$1")
        case $code in
            124 | 137) verdict+=", which did not end" ;;
            *) verdict+=", which was stopped" ;;
        esac
    fi
    return 1
}

# Runs a check, and says in `verdict` what noticed when something did.
run_check() {
    local fuzzer
    case $1 in
        fuzz)
            for fuzzer in $fuzzers; do
                if ! run_program "bin/fuzz_$fuzzer" "$copy/fuzz/corpus/$fuzzer"; then
                    verdict="fuzz.$fuzzer"
                    return 1
                fi
            done
            ;;
        simulate)
            if ! run_program bin/simulate --seeds 200; then
                verdict=simulate
                return 1
            fi
            ;;
        *)
            if ! run_program "bin/test_$1" --gtest_color=no; then
                verdict="$1: $verdict"
                return 1
            fi
            ;;
    esac
}

# Plants a fault and tries the checks, first those that the entry names, until one notices. Returns 1 when none does.
try() {
    local name=$1 path=$copy/${file[$1]} content check others
    content=$(<"$path")
    printf '%s\n' "${content/"${find[$name]}"/"${replacement[$name]}"}" >"$path"
    others=""
    for check in $available; do
        [[ " ${checks[$name]} " == *" $check "* ]] || others+=" $check"
    done
    local noticed=1
    for check in ${checks[$name]} $others; do
        [[ " $available " == *" $check "* ]] || continue
        if ! build "$check"; then
            tail -n 30 "$logs/build" >&2
            fail "$name cannot be built"
        fi
        if ! run_check "$check"; then
            noticed=0
            break
        fi
    done
    printf '%s\n' "$content" >"$path"
    return $noticed
}

# ---------------------------------------------------------------- the table

write_table() {
    local name
    cat <<'TEXT'
# Mutants

Small faults that were planted in the library, one at a time, and the check that noticed each. `./dev mutants` plants
them again and writes this table; `./dev mutants NAME` plants one. The faults themselves are in `tests/mutants`.

| name | file | fault | the rule it breaks | noticed by |
|---|---|---|---|---|
TEXT
    for name in "${names[@]}"; do
        echo "| $name | \`${file[$name]#VexaClient/}\` | ${fault[$name]} | ${rule[$name]} | ${result[$name]} |"
    done
}

# ---------------------------------------------------------------- the run

table=""
jobs=$(nproc)
chosen=()
while [[ $# -gt 0 ]]; do
    case $1 in
        --table | --jobs)
            [[ $# -ge 2 ]] || fail "$1 takes a value"
            if [[ $1 == --table ]]; then table=$2; else jobs=$2; fi
            shift
            ;;
        -*) fail "there is no option $1" ;;
        *) chosen+=("$1") ;;
    esac
    shift
done

for list in "$here"/*.mutants; do
    read_list "$list"
done
for name in "${names[@]}"; do
    check_entry "$name"
done
for name in ${chosen[@]+"${chosen[@]}"}; do
    [[ -n ${file[$name]:-} ]] || fail "there is no mutant '$name'; there are: ${names[*]}"
done
[[ ${#chosen[@]} -gt 0 ]] || chosen=("${names[@]}")

copy=$(mktemp -d)
trap 'rm -rf "$copy"' EXIT
tree=$copy/build/dev
logs=$copy/logs
mkdir -p "$logs"
export CCACHE_BASEDIR=$copy CCACHE_NOHASHDIR=1
copy_tree
(cd "$copy" && cmake --preset dev >"$logs/configure" 2>&1) || {
    cat "$logs/configure" >&2
    fail "the copy cannot be configured"
}
known=$(cmake --build "$tree" --target help)
available=""
for check in $all_checks; do
    [[ $check == simulate && $known != *$'\n'simulate:* ]] || available+=" $check"
done

echo "mutants: building the checks without a fault:$available"
# shellcheck disable=SC2086
if ! build $available; then
    tail -n 30 "$logs/build" >&2
    fail "the checks cannot be built"
fi
for check in $available; do
    run_check "$check" || fail "without any fault, a check fails: $verdict"
done

declare -A result
bad=()
for name in "${chosen[@]}"; do
    if try "$name"; then
        result[$name]=$verdict
        [[ -z ${equivalent[$name]:-} ]] || {
            bad+=("$name")
            result[$name]+=" (but it is marked as equivalent)"
        }
    elif [[ -n ${equivalent[$name]:-} ]]; then
        result[$name]="nothing: ${equivalent[$name]}"
    else
        bad+=("$name")
        result[$name]="**nothing**"
    fi
    echo "$name: ${result[$name]}"
done

echo "mutants: ${#chosen[@]} planted, $(( ${#chosen[@]} - ${#bad[@]} )) as they should be"
if [[ -n $table && ${#chosen[@]} -eq ${#names[@]} ]]; then
    write_table >"$table"
fi
if [[ ${#bad[@]} -gt 0 ]]; then
    fail "look at ${bad[*]}"
fi
