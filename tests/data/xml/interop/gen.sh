#!/bin/sh
# Enveloping and detached signatures made by xmlsec1, one per canonical method of SignedInfo and
# of the reference, plus a base64 transform and a file beside the signed one; each is checked by
# xmlsec1 --verify, and the octets xmlsec1 digested for each reference are kept (from
# --store-references) as <name>.refs for the tests to compare with.
set -e
cd "$(dirname "$0")"
openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -out key.pem 2>/dev/null
printf 'Contenuto esterno firmato, accanto al documento.\n' >esterno.txt
template() {  # name, SignedInfo method, URI, transforms
    if [ -n "$4" ]; then transforms="<Transforms>$4</Transforms>"; else transforms=""; fi
    cat >"$1.tmpl" <<T
<?xml version="1.0" encoding="UTF-8"?>
<Signature xmlns="http://www.w3.org/2000/09/xmldsig#" xmlns:e="urn:esterno"><SignedInfo>
<CanonicalizationMethod Algorithm="$2"/>
<SignatureMethod Algorithm="http://www.w3.org/2001/04/xmldsig-more#rsa-sha256"/>
<Reference URI="$3">$transforms
<DigestMethod Algorithm="http://www.w3.org/2001/04/xmlenc#sha256"/><DigestValue/></Reference>
</SignedInfo><SignatureValue/>
<Object Id="dati"><e:dato xmlns:inutile="urn:inutile" e:numero="1"><!-- commento -->uno <e:due>due</e:due></e:dato></Object>
<Object Id="binario">VGVzdG8gaW4gYmFzZTY0IGZpcm1hdG8u</Object>
</Signature>
T
}
t() { printf '<Transform Algorithm="%s"/>' "$1"; }
C14N=http://www.w3.org/TR/2001/REC-xml-c14n-20010315
EXC=http://www.w3.org/2001/10/xml-exc-c14n
C11=http://www.w3.org/2006/12/xml-c14n11
template enveloping_c14n "$C14N" "#dati" "$(t $C14N)"
template enveloping_c14n_comments "$C14N#WithComments" "#xpointer(id('dati'))" "$(t "$C14N#WithComments")"
template enveloping_exc "$EXC#" "#dati" "$(t "$EXC#")"
template enveloping_exc_comments "$EXC#WithComments" "#xpointer(id('dati'))" "$(t "$EXC#WithComments")"
template enveloping_c14n11 "$C11" "#dati" "$(t $C11)"
template enveloping_default "$C14N" "#dati" ""
template enveloping_base64 "$EXC#" "#binario" "$(t http://www.w3.org/2000/09/xmldsig#base64)"
# A reference to the file beside the document: file octets are digested as they are.
template detached_file "$EXC#" "esterno.txt" ""
for t in *.tmpl; do
    n=${t%.tmpl}
    xmlsec1 --sign --id-attr:Id Object --privkey-pem key.pem --output "$n.xml" "$t"
    xmlsec1 --verify --id-attr:Id Object --pubkey-pem key.pem --store-references \
        "$n.xml" >"$n.refs" 2>/dev/null
    rm -f "$t"
done
