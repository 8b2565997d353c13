#include "pkix/TimeStampToken.h"

#include <memory>

#include "asn1/OID.h"
#include "pkix/EncapsulatedContentInfo.h"
#include "pkix/SignedData.h"
#include "pkix/TSTInfo.h"

TimeStampToken* TimeStampToken::clone() const {
    TimeStampToken* copy = new TimeStampToken();
    if (_getContentType() != nullptr) {
        std::unique_ptr<char[]> dotted(_getContentType()->getValue());
        copy->setContentType(dotted.get());
    }
    copy->setContent(_getContent());
    return copy;
}

CMSSignedData* TimeStampToken::_getSignedData() const {
    if (!isEqual(kSignedData)) return nullptr;
    return dynamic_cast<CMSSignedData*>(_getContent());
}

TSTInfo* TimeStampToken::getTSTInfo() const {
    CMSSignedData* signedData = _getSignedData();
    if (signedData == nullptr) return nullptr;
    const EncapsulatedContentInfo* encap = signedData->_getEncapContentInfo();
    if (encap == nullptr || !encap->isEqual(TSTInfo::kContentType)) return nullptr;
    return TSTInfo::readAnyForm(encap->_getEContent(), encap->getEContentLen());
}

unsigned char TimeStampToken::checked(unsigned char result) const {
    if (result != 1) return 0;
    return isEqual(kSignedData) && _getContent() != nullptr ? 1 : 0;
}

unsigned char TimeStampToken::unwrapASN1(Buffer* b) {
    return checked(ContentInfo::unwrapASN1(b));
}

unsigned char TimeStampToken::_unwrapASN1(Buffer* b) {
    return checked(ContentInfo::_unwrapASN1(b));
}
