#!/usr/bin/env bash
#
# Does what README.md shows for two terminals, to the letter, but for the port: the service takes
# one that is free. The last command there compares what was sent with what came.
#
# usage: run_readme.sh FOLDER_OF_VEXA

set -euo pipefail

readme=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)/README.md
PATH=$1:$PATH
work=$(mktemp -d)
service=""

clean_up() {
    [[ -z $service ]] || kill "$service" || true
    rm -rf "$work"
}
trap clean_up EXIT

# Prints the commands of the Nth console block of the section on networks.
commands() {
    awk -v wanted="$1" '
        /^### Across a network$/ { isSection = 1; next }
        /^##/ { isSection = 0 }
        isSection && /^```console$/ { ++block; isBlock = 1; next }
        /^```$/ { isBlock = 0 }
        isBlock && block == wanted && sub(/^\$ /, "")
    ' "$readme"
}

serve=$(commands 1)
client=$(commands 2)
if [[ $serve != "vexa serve" || $client != *"vexa sub "* || $client != *"vexa pub "* || $client != *cmp* ]]; then
    echo "run_readme.sh: README.md does not show what is to be run here" >&2
    exit 1
fi

cd "$work"
export VEXA_LISTEN=127.0.0.1:0
bash -c "exec $serve" >address &
service=$!
until [[ -s address ]]; do
    kill -0 "$service"
    sleep 0.05
done
VEXA_URL=$(sed -n 's/^listening on //p' address)
export VEXA_URL

bash -euo pipefail -c "$client" >output
cat output
grep -qx "the same" output
if [[ ! -s packages ]]; then
    echo "run_readme.sh: the list of packages is empty" >&2
    exit 1
fi
