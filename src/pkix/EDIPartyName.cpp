#include "pkix/EDIPartyName.h"

#include "asn1/Buffer.h"
#include "pkix/ReadSteps.h"

EDIPartyName::EDIPartyName() : nameAssigner(nullptr), partyName(nullptr) {}

EDIPartyName::~EDIPartyName() {
    delete[] nameAssigner;
    delete[] partyName;
}

EDIPartyName* EDIPartyName::clone() const {
    EDIPartyName* copy = new EDIPartyName();
    copy->setNameAssigner(nameAssigner);
    copy->setPartyName(partyName);
    return copy;
}

char* EDIPartyName::getNameAssigner() const {
    return pkix::copyText(nameAssigner);
}
char* EDIPartyName::getPartyName() const {
    return pkix::copyText(partyName);
}

void EDIPartyName::setNameAssigner(const char* text) {
    delete[] nameAssigner;
    nameAssigner = pkix::copyText(text);
}

void EDIPartyName::setPartyName(const char* text) {
    delete[] partyName;
    partyName = pkix::copyText(text);
}

unsigned int EDIPartyName::contentLength(Buffer* b) {
    return (nameAssigner != nullptr ? b->lenASN1(nameAssigner, static_cast<unsigned char>(0x80))
                                    : 0) +
           b->lenASN1(partyName, static_cast<unsigned char>(0x81));
}

unsigned int EDIPartyName::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void EDIPartyName::wrapASN1(unsigned char tag, Buffer* b) {
    b->writeASN1Header(tag, contentLength(b));
    if (nameAssigner != nullptr) b->writeASN1(nameAssigner, static_cast<unsigned char>(0x80));
    b->writeASN1(partyName, static_cast<unsigned char>(0x81));
}

unsigned char EDIPartyName::unwrapASN1(unsigned char tag, Buffer* b) {
    unsigned char t;
    unsigned int len;
    if (!b->readASN1Header(&t, &len) || t != tag) return 0;
    delete[] nameAssigner;
    nameAssigner = nullptr;
    delete[] partyName;
    partyName = nullptr;
    if (b->peekASN1Header(&t, &len) && t == 0x80) {
        if (!pkix::readText(b, 0x80, &nameAssigner)) return 0;
    }
    if (!b->peekASN1Header(&t, &len) || t != 0x81) return 0;
    if (!pkix::readText(b, 0x81, &partyName)) return 0;
    if (partyName == nullptr) partyName = pkix::copyText("");
    return 1;
}
