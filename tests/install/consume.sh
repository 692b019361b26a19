#!/usr/bin/env bash
#
# Checks an installed VexaClient from the outside: examples/consumer is configured, built and
# run against it, every installed header compiles, and a component that does not exist is
# refused with a message that names it.
#
# usage: consume.sh --build DIR [--compiler CXX] [--cmake CMAKE]   installs the build first
#        consume.sh --prefix DIR [--compiler CXX] [--cmake CMAKE]  takes what is installed there

set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
build=""
prefix=""
compiler=c++
cmake=cmake
while [[ $# -gt 0 ]]; do
    case $1 in
        --build) build=$2 ;;
        --prefix) prefix=$2 ;;
        --compiler) compiler=$2 ;;
        --cmake) cmake=$2 ;;
        *)
            echo "consume.sh: unknown argument $1" >&2
            exit 2
            ;;
    esac
    shift 2
done

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

if [[ -n $build ]]; then
    prefix=$work/prefix
    "$cmake" --install "$build" --prefix "$prefix" >"$work/install.log"
fi

# Runs a command quietly; its output is shown only when it fails.
quietly() {
    if ! "$@" >"$work/log" 2>&1; then
        cat "$work/log" >&2
        echo "consume.sh: failed: $*" >&2
        exit 1
    fi
}

configure() {
    "$cmake" -S "$1" -B "$2" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" \
        -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_BUILD_TYPE=Release
}

if grep -rlF --include='*.cmake' "$root" "$prefix"; then
    echo "consume.sh: the files above name the source folder, so the package cannot be moved" >&2
    exit 1
fi

quietly configure "$root/examples/consumer" "$work/consumer"
quietly "$cmake" --build "$work/consumer"
echo "the consumer is built; it says:"
"$work/consumer/consumer"

mkdir "$work/headers"
cat >"$work/headers/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(Headers LANGUAGES CXX)
find_package(VexaClient 0.1 REQUIRED COMPONENTS Testing Host OPTIONAL_COMPONENTS HostNats)
add_executable(headers main.cpp)
target_link_libraries(headers PRIVATE VexaClient::VexaClient VexaClient::Testing VexaClient::Host)
if(TARGET VexaClient::HostNats)
    target_link_libraries(headers PRIVATE VexaClient::HostNats)
    target_compile_definitions(headers PRIVATE HAS_NATS)
endif()
CMAKE
(cd "$prefix/include" && find VexaClient -name '*.hpp' | sort) >"$work/list"
(cd "$prefix/include/VexaClient-kit" && find testing host -name '*.hpp' | sort) >>"$work/list"
for folder in VexaClient testing host; do
    if ! grep -q "^$folder/" "$work/list"; then
        echo "consume.sh: no header of $folder is installed" >&2
        exit 1
    fi
done
{
    sed 's/.*/#include <&>/' "$work/list"
    cat <<'MAIN'
int main()
{
#ifdef HAS_NATS
    vexa::host::NatsBroker::releaseLibrary();
#endif
    return vexa::host::MemoryBroker::make({}) != nullptr ? 0 : 1;
}
MAIN
} >"$work/headers/main.cpp"
quietly configure "$work/headers" "$work/headers-build"
quietly "$cmake" --build "$work/headers-build"
quietly "$work/headers-build/headers"
echo "$(wc -l <"$work/list") installed headers compile"

mkdir "$work/refused"
cat >"$work/refused/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(Refused LANGUAGES CXX)
find_package(VexaClient 0.1 REQUIRED COMPONENTS Nonesuch)
CMAKE
if configure "$work/refused" "$work/refused-build" >"$work/log" 2>&1; then
    echo "consume.sh: a component that does not exist was found" >&2
    exit 1
fi
if ! grep -q 'VexaClient has no component Nonesuch' "$work/log"; then
    cat "$work/log" >&2
    echo "consume.sh: the message does not name the missing component" >&2
    exit 1
fi
echo "a component that does not exist is refused"
