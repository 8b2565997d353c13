// OCSP responses from any responder on the network. The input is read as an OCSPResponse, its
// basic response is taken out and walked the way the checker walks it (every answer, its status
// and dates, the certificates, the signature checked with the first certificate's key), and a
// response that reads must re-encode to bytes that read back. The same bytes are also read as a
// request.
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "asn1/Buffer.h"
#include "asn1/X500Time.h"
#include "crypto/CryptoDevice.h"
#include "crypto/CryptoKi.h"
#include "pkix/BasicOCSPResponse.h"
#include "pkix/Certificate.h"
#include "pkix/CertificateInfo.h"
#include "pkix/KeyInfo.h"
#include "pkix/OCSPCertID.h"
#include "pkix/OCSPCertStatus.h"
#include "pkix/OCSPRequest.h"
#include "pkix/OCSPResponse.h"
#include "pkix/ResponseBytes.h"
#include "pkix/ResponseData.h"
#include "pkix/RevokedInfo.h"
#include "pkix/SingleResponse.h"

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

template <class T>
void roundTrip(T& object) {
    Buffer out;
    out.enlarge(object.getWrapLength(&out));
    object.wrapASN1(&out);
    T again;
    if (!again.unwrapASN1(&out)) abort();
}

void walk(BasicOCSPResponse* basic) {
    const ResponseData* data = basic->_getTbsResponseData();
    const SingleResponseList* answers = data != nullptr ? data->_getResponses() : nullptr;
    for (int i = 0; answers != nullptr && i < answers->getCount(); ++i) {
        const SingleResponse* answer = answers->_getElement(i);
        std::unique_ptr<OCSPCertID> id(answer->getCertID());
        std::unique_ptr<X500Time> next(answer->getNextUpdate());
        const RevokedInfo* revoked = answer->_getCertStatus()->_getRevokedInfo();
        if (revoked != nullptr) std::unique_ptr<X500Time> when(revoked->getRevocationTime());
        if (id != nullptr) id->isEqual(answer->_getCertID());
    }
    const CertList* certs = basic->_getCerts();
    if (certs != nullptr && certs->getCount() > 0 && certs->_getElement(0)->_getCertInfo()) {
        std::unique_ptr<KeyInfo> key(certs->_getElement(0)->_getCertInfo()->getSubjectPubKey());
        if (key != nullptr) basic->checkSignature(device(), key.get());
    }
    roundTrip(*basic);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    {
        Buffer in;
        in.fromByteArray(data, static_cast<unsigned int>(size));
        OCSPResponse response;
        if (response.unwrapASN1(&in)) {
            roundTrip(response);
            if (response._getResponseBytes() != nullptr) {
                std::unique_ptr<BasicOCSPResponse> basic(
                    response._getResponseBytes()->getBasicResponse());
                if (basic != nullptr) walk(basic.get());
            }
        }
    }
    {
        // The inner structure alone, as a responder may send it by mistake.
        Buffer in;
        in.fromByteArray(data, static_cast<unsigned int>(size));
        BasicOCSPResponse basic;
        if (basic.unwrapASN1(&in)) walk(&basic);
    }
    {
        Buffer in;
        in.fromByteArray(data, static_cast<unsigned int>(size));
        OCSPRequest request;
        if (request.unwrapASN1(&in)) roundTrip(request);
    }
    return 0;
}
