#!/usr/bin/env bash
# Seeds the token_file corpus with token files made by OpenSC's pkcs11-tool through the built
# library: an initialised token, one with a user PIN ("1234"), and one with public and private
# data objects and an RSA key pair. Usage: fuzz/make_token_seeds.sh [build-dir]
set -euo pipefail
build=${1:-build}
root=$(cd "$(dirname "$0")/.." && pwd)
module="$build/libsigilo.so"
out="$root/fuzz/corpus/token_file"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$out"
tool() { PKCS11SLOT="$work/tok" pkcs11-tool --module "$module" --slot 1 "$@" >/dev/null 2>&1; }
save() { cp "$work/tok01" "$out/$1"; }
tool --init-token --so-pin 87654321 --label Seed
save initialised
tool --init-pin --login --login-type so --so-pin 87654321 --pin 1234
save user_pin
echo "dati pubblici" >"$work/pub.txt"
echo "dati riservati" >"$work/priv.txt"
tool --login --pin 1234 --write-object "$work/pub.txt" --type data --label pubblico
tool --login --pin 1234 --write-object "$work/priv.txt" --type data --label riservato --private
save data_objects
tool --login --pin 1234 --keypairgen --key-type rsa:512 --id 01 --label chiave
save key_pair
ls "$out"
