// TrustListCheck: what a signed trust list must show, beyond a good signature, before its
// certificates are trusted: that the signature is by the certificate the caller named, and that
// the providers the import reads are the ones the signature covers.
#ifndef SIGILO_FRONTEND_TRUSTLISTCHECK_H
#define SIGILO_FRONTEND_TRUSTLISTCHECK_H

class XMLFile;

namespace trustlist {

// True when the report holds at least one signer, and every signer (counter-signers aside)
// shows the certificate of the file at certPath (PEM or DER). A list signed by someone else
// whose certificate happens to chain to a trusted CA is not the list the caller asked for.
unsigned char signedBy(XMLFile* report, const char* certPath);

// True when the list at path has exactly one TrustServiceProviderList and it stands outside
// every Signature element. An enveloped signature leaves its own element out of what it
// covers, so a provider list placed in a Signature would be trusted without being signed.
unsigned char providersOutsideSignatures(const char* path);

}  // namespace trustlist

#endif
