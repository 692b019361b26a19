#!/usr/bin/env bash
#
# Makes the certificates that the tests of the WebSocket transport need in a folder. What is
# there already stays.
#
# usage: prepare.sh FOLDER

set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
folder=$1
mkdir -p "$folder"

# Tests run side by side, and one of them prepares for all.
exec 9>"$folder/lock"
flock 9

quietly() {
    local output
    if ! output=$("$@" 2>&1); then
        echo "$output" >&2
        return 1
    fi
}

# authority NAME: a certificate that signs others, and its key.
authority() {
    quietly openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 30 \
        -subj "/CN=$1" -keyout "$1.key" -out "$1.pem" -addext "keyUsage=critical,keyCertSign"
}

# certificate NAME AUTHORITY COMMON_NAME EXTENSION
certificate() {
    quietly openssl req -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -subj "/CN=$3" \
        -keyout "$1.key" -out "$1.request"
    quietly openssl x509 -req -in "$1.request" -CA "$2.pem" -CAkey "$2.key" -CAcreateserial -days 30 \
        -out "$1.pem" -extfile <(echo "$4")
}

# Made anew a day before they end, and when this script has changed.
if ! openssl x509 -checkend 86400 -noout -in "$folder/certificates/client.pem" >/dev/null 2>&1 ||
    ! cmp -s "$here/prepare.sh" "$folder/certificates/made-by"; then
    rm -rf "$folder/certificates"
    mkdir "$folder/certificates"
    cd "$folder/certificates"
    authority authority
    authority stranger
    certificate localhost authority service "subjectAltName=DNS:localhost,IP:127.0.0.1"
    certificate elsewhere authority localhost "subjectAltName=DNS:elsewhere.example"
    certificate unlisted authority localhost "keyUsage=digitalSignature"
    certificate imposter stranger localhost "subjectAltName=DNS:localhost"
    certificate client authority client "subjectAltName=DNS:client"
    cp "$here/prepare.sh" made-by
fi
