#include "pkix/AlgorithmNames.h"

#include <memory>

#include "crypto/AlgorithmIdentifier.h"

namespace pkix {

std::string algorithmName(const AlgorithmIdentifier* algorithm) {
    static const struct {
        const char* oid;
        const char* name;
    } kNames[] = {
        {"1.2.840.113549.1.1.1", "rsaEncryption"},
        {"1.2.840.113549.1.1.2", "md2WithRSAEncryption"},
        {"1.2.840.113549.1.1.4", "md5WithRSAEncryption"},
        {"1.2.840.113549.1.1.5", "sha1WithRSAEncryption"},
        {"1.2.840.113549.1.1.10", "RSASSA-PSS"},
        {"1.2.840.113549.1.1.11", "sha256WithRSAEncryption"},
        {"1.2.840.113549.1.1.12", "sha384WithRSAEncryption"},
        {"1.2.840.113549.1.1.13", "sha512WithRSAEncryption"},
        {"1.2.840.113549.1.1.14", "sha224WithRSAEncryption"},
        {"1.3.36.3.3.1.2", "ripemd160WithRSA"},
        {"1.2.840.10045.2.1", "ecPublicKey"},
        {"1.2.840.10045.4.1", "ecdsa-with-SHA1"},
        {"1.2.840.10045.4.3.2", "ecdsa-with-SHA256"},
        {"1.2.840.10045.4.3.3", "ecdsa-with-SHA384"},
        {"1.2.840.10045.4.3.4", "ecdsa-with-SHA512"},
        {"1.2.840.10040.4.1", "dsaEncryption"},
        {"1.2.840.10040.4.3", "dsaWithSHA1"},
    };
    if (algorithm == nullptr) return std::string();
    for (const auto& row : kNames) {
        if (algorithm->isEqual(row.oid)) return row.name;
    }
    std::unique_ptr<char[]> dotted(algorithm->getAlgorithm());
    return dotted ? std::string(dotted.get()) : std::string();
}

}  // namespace pkix
