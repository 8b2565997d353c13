#include "pkix/BasicOCSPResponse.h"

#include "asn1/Buffer.h"
#include "crypto/AlgorithmIdentifier.h"
#include "crypto/CryptoDevice.h"
#include "crypto/Signature.h"
#include "pkix/Certificate.h"
#include "pkix/CopySteps.h"
#include "pkix/ExplicitSteps.h"
#include "pkix/ReadSteps.h"
#include "pkix/ResponseData.h"

namespace {
constexpr unsigned char kCertsTag = 0xA0;
}

BasicOCSPResponse::BasicOCSPResponse()
    : tbsResponseData(nullptr), signatureAlgorithm(nullptr), signature(nullptr), certs(nullptr) {}

BasicOCSPResponse::~BasicOCSPResponse() {
    clear();
}

void BasicOCSPResponse::clear() {
    delete tbsResponseData;
    delete signatureAlgorithm;
    delete signature;
    delete certs;
    tbsResponseData = nullptr;
    signatureAlgorithm = nullptr;
    signature = nullptr;
    certs = nullptr;
    signedBytes.clear();
}

BasicOCSPResponse* BasicOCSPResponse::clone() const {
    BasicOCSPResponse* copy = new BasicOCSPResponse();
    copy->tbsResponseData = pkix::cloneOf(tbsResponseData);
    copy->signedBytes = signedBytes;
    copy->signatureAlgorithm = pkix::cloneOf(signatureAlgorithm);
    copy->signature = pkix::cloneOf(signature);
    copy->certs = pkix::cloneOf(certs);
    return copy;
}

ResponseData* BasicOCSPResponse::getTbsResponseData() const {
    return pkix::cloneOf(tbsResponseData);
}

// A new signed part makes the kept bytes stale.
void BasicOCSPResponse::setTbsResponseData(const ResponseData* data) {
    pkix::replaceWithCopy(tbsResponseData, data);
    signedBytes.clear();
}

AlgorithmIdentifier* BasicOCSPResponse::getSignatureAlgorithm() const {
    return pkix::cloneOf(signatureAlgorithm);
}
void BasicOCSPResponse::setSignatureAlgorithm(const AlgorithmIdentifier* algorithm) {
    pkix::replaceWithCopy(signatureAlgorithm, algorithm);
}
Signature* BasicOCSPResponse::getSignature() const {
    return pkix::cloneOf(signature);
}
void BasicOCSPResponse::setSignature(const Signature* s) {
    pkix::replaceWithCopy(signature, s);
}
CertList* BasicOCSPResponse::getCerts() const {
    return pkix::cloneOf(certs);
}
void BasicOCSPResponse::setCerts(const CertList* list) {
    pkix::replaceWithCopy(certs, list);
}

unsigned char BasicOCSPResponse::checkSignature(CryptoDevice* device, KeyInfo* key) {
    if (device == nullptr || key == nullptr || tbsResponseData == nullptr ||
        signatureAlgorithm == nullptr || signature == nullptr) {
        return 0;
    }
    std::vector<unsigned char> bytes = signedBytes;
    if (bytes.empty()) {
        Buffer encoded;
        encoded.enlarge(tbsResponseData->getWrapLength(&encoded));
        tbsResponseData->wrapASN1(&encoded);
        bytes.assign(encoded._getData(), encoded._getData() + encoded.getWritePos());
    }
    if (!device->setSignAlgorithm(signatureAlgorithm)) return 0;
    return device->verify(signature, bytes.data(), bytes.size(), key) ? 255 : 0;
}

unsigned int BasicOCSPResponse::contentLength(Buffer* b) {
    unsigned int sum = 0;
    if (tbsResponseData != nullptr) sum += tbsResponseData->getWrapLength(b);
    if (signatureAlgorithm != nullptr) sum += signatureAlgorithm->getWrapLength(b);
    if (signature != nullptr) sum += signature->getWrapLength(b);
    if (certs != nullptr) sum += pkix::lenExplicit(b, kCertsTag, certs->getWrapLength(b));
    return sum;
}

unsigned int BasicOCSPResponse::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void BasicOCSPResponse::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (tbsResponseData != nullptr) tbsResponseData->wrapASN1(b);
    if (signatureAlgorithm != nullptr) signatureAlgorithm->wrapASN1(b);
    if (signature != nullptr) signature->wrapASN1(b);
    if (certs != nullptr) {
        b->writeASN1Header(kCertsTag, certs->getWrapLength(b));
        certs->wrapASN1(b);
    }
}

unsigned char BasicOCSPResponse::unwrapASN1(Buffer* b) {
    clear();
    unsigned int len;
    if (!b->readASN1Sequence(&len) || len > b->remaining()) return 0;
    unsigned int end = b->getReadPos() + len;
    unsigned int from = b->getReadPos();
    tbsResponseData = new ResponseData();
    if (!tbsResponseData->unwrapASN1(b)) return 0;
    signedBytes.assign(b->_getData() + from, b->_getData() + b->getReadPos());
    signatureAlgorithm = new AlgorithmIdentifier();
    if (!signatureAlgorithm->unwrapASN1(b)) return 0;
    signature = new Signature();
    if (!signature->unwrapASN1(b)) return 0;
    if (!pkix::atEnd(b, end)) {
        unsigned int inner;
        if (!pkix::openExplicit(b, kCertsTag, &inner)) return 0;
        certs = new CertList();
        if (!certs->unwrapASN1(b) || certs->getCount() > kMaxCerts ||
            !pkix::closeExplicit(b, inner)) {
            return 0;
        }
    }
    return b->getReadPos() == end ? 255 : 0;
}
