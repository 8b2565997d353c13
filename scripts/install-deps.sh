#!/usr/bin/env bash
# Installs the Debian packages that building, testing and fuzzing need, when they are missing.
# Safe to run again: it does nothing when everything is present.
set -euo pipefail

packages=(
  cmake make g++ clang libclang-rt-14-dev lld
  libxml2-dev libxslt1-dev zlib1g-dev libssl-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  openssl python3 python3-cryptography python3-asn1crypto
  xmlsec1 opensc pkgconf binutils
  qpdf poppler-utils python3-pikepdf python3-pil
  slapd ldap-utils microsocks tinyproxy faketime
  chromium fonts-dejavu-core
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "installing: ${missing[*]}" >&2
sudo=""
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null 2>&1 || { echo "need root to install: ${missing[*]}" >&2; exit 1; }
  sudo="sudo"
fi
export DEBIAN_FRONTEND=noninteractive
# The network tests start their own slapd and tinyproxy on unprivileged ports; the system
# services these packages would start are not wanted, so service starts are refused while
# installing (policy-rc.d answering 101).
policy=/usr/sbin/policy-rc.d
made_policy=""
if [ ! -e "$policy" ]; then
  printf '#!/bin/sh\nexit 101\n' | $sudo tee "$policy" >/dev/null
  $sudo chmod 755 "$policy"
  made_policy=1
fi
trap 'if [ -n "$made_policy" ]; then $sudo rm -f "$policy"; fi' EXIT
$sudo apt-get install -y --no-install-recommends "${missing[@]}" >/dev/null ||
  { $sudo apt-get update >/dev/null && $sudo apt-get install -y --no-install-recommends "${missing[@]}" >/dev/null; }
