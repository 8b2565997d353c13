// Names of the signature and key algorithms met in certificates, for the printable forms.
#ifndef SIGILO_PKIX_ALGORITHMNAMES_H
#define SIGILO_PKIX_ALGORITHMNAMES_H

#include <string>

class AlgorithmIdentifier;

namespace pkix {

// The common name of the algorithm ("sha256WithRSAEncryption", ...), else its dotted OID;
// empty for a null or empty identifier.
std::string algorithmName(const AlgorithmIdentifier* algorithm);

}  // namespace pkix

#endif
