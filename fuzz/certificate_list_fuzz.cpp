// CRLs from anywhere: the network, the cache file, a signed envelope. The input is read as a
// CertificateList through a plain Buffer and through a SecureBuffer (which digests the signed
// part while reading), and as a set of revocation choices; a CRL that reads must re-encode to
// bytes that read back.
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "asn1/Buffer.h"
#include "asn1/SecureBuffer.h"
#include "crypto/CryptoDevice.h"
#include "crypto/CryptoKi.h"
#include "pkix/CertificateList.h"
#include "pkix/CertificateListInfo.h"
#include "pkix/RevocationInfoChoice.h"
#include "pkix/RevokedCertificate.h"

namespace {

CryptoDevice* device() {
    static CryptoKi ki;
    static CryptoDevice* d = [] {
        CryptoDevice* made = new CryptoDevice(&ki);
        made->openToken(0, nullptr, 0);
        return made;
    }();
    return d;
}

// Walks what was read the way the CRL cache does.
void inspect(const CertificateList& crl) {
    const CertificateListInfo* info = crl._getCertListInfo();
    if (info == nullptr) return;
    const RevokedCertificateList* revoked = info->_getRevokedCertificates();
    for (int i = 0; revoked != nullptr && i < revoked->getCount(); ++i) {
        std::unique_ptr<char[]> text(
            revoked->_getRevokedCertificatePointer(i)->printUserCertificate(16));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    {
        Buffer in;
        in.fromByteArray(data, static_cast<unsigned int>(size));
        CertificateList crl;
        if (crl.unwrapASN1(&in)) {
            inspect(crl);
            Buffer out;
            out.enlarge(crl.getWrapLength(&out));
            crl.wrapASN1(&out);
            CertificateList again;
            if (!again.unwrapASN1(&out)) abort();
        }
    }
    {
        SecureBuffer in(device());
        in.fromByteArray(data, static_cast<unsigned int>(size));
        CertificateList crl;
        if (crl.unwrapASN1(&in)) {
            std::unique_ptr<CertificateListInfo> info(crl._detachCertListInfo());
        }
    }
    {
        Buffer in;
        in.fromByteArray(data, static_cast<unsigned int>(size));
        RevocationInfoChoiceSet set;
        set.unwrapASN1(data != nullptr && size > 0 && data[0] == 0xA1 ? 0xA1 : 0x31, &in);
        std::unique_ptr<RevocationInfoChoiceSet> copy(set.clone());
    }
    return 0;
}
