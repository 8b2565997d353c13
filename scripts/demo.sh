#!/usr/bin/env bash
# Runs sigilo on the bundled demo documents (examples/, made by examples/make_examples.sh with
# openssl, asn1crypto, Python's email package and xmlsec1) with the bundled demo CA, and prints
# the report.
#
# The demo CA list (examples/demo_ca.pem) is first imported into a scratch CA folder, which
# writes its caCertsList there, and the documents are then verified against that folder.
#
# What the report shows today: the PKCS#7 and CMS envelopes verified signer by signer (the two
# CAdES envelopes OK; the plain one KO, since a signature that is not CAdES needs a time stamp
# from before July 2011 to prove its date), the TSR and TST tokens verified against their
# authority (OK), the TSD and the M7M with their token OK and their plain envelope KO for the
# same reason (their tokens are of today), the M7M split and its two parts extracted, and the
# report of a file that cannot be read. The signed PDF (documento_firmato.pdf, made by
# examples/make_pdf_example.sh under its own demo CA, demo_pdf_ca.pem, imported with the other)
# is verified OK; the unsigned one (documento.pdf) is KO, as it holds no signature. The XML
# document, signed by xmlsec1 as a plain XML signature, gets its signer described and the verdict
# "KO" with "Busta crittografica non conforme alla normativa vigente": without XAdES properties
# and a reference over KeyInfo it is not conformant, and it has no time stamp from before July
# 2011.
set -uo pipefail
build=${1:-build}
root=$(cd "$(dirname "$0")/.." && pwd)
examples="$root/examples"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

build=$(cd "$build" && pwd)
cadir="$work/ca"
mkdir -p "$cadir"
"$build/sigilo" --version
echo
cd "$examples"
echo "sigilo -c <ca folder> --import-pem examples/demo_ca.pem + examples/demo_pdf_ca.pem"
cat demo_ca.pem demo_pdf_ca.pem >"$work/demo_cas.pem"
if ! "$build/sigilo" -c "$cadir" --import-pem "$work/demo_cas.pem"; then
  echo "the demo CA list could not be imported" >&2
  exit 1
fi
echo "caCertsList written: $(wc -c <"$cadir/caCertsList") bytes"
echo
echo "sigilo --indent -c <ca folder> -x <scratch> --html <build>/demo-report.html <demo documents>"
echo
"$build/sigilo" --indent -c "$cadir" -x "$work" --html "$build/demo-report.html" \
  documento.txt.p7m documento_cades.txt.p7m documento_cades_cms.txt.p7m documento.txt.p7m.tsr documento.txt.p7m.tst \
  documento.txt.p7m.tsd documento.m7m documento.pdf documento_firmato.pdf documento_firmato.xml \
  non_esiste.p7m
status=$?
echo "exit status: $status (1: some document is KO)"
echo "the same report as a page: $build/demo-report.html"
echo "extracted from the M7M: $(cd "$work" && ls documento.* 2>/dev/null | tr '\n' ' ')"
exit 0
