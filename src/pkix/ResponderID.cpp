#include "pkix/ResponderID.h"

#include "asn1/Buffer.h"
#include "pkix/CopySteps.h"
#include "pkix/ExplicitSteps.h"
#include "pkix/Name.h"
#include "pkix/ReadSteps.h"

namespace {
// A key hash is a SHA-1 digest; anything much longer is no key hash.
constexpr unsigned int kMaxKeyHash = 64;
}  // namespace

ResponderID::ResponderID() : type(0), name(nullptr), keyHash(nullptr), keyHashLength(0) {}

ResponderID::~ResponderID() {
    clear();
}

void ResponderID::clear() {
    delete name;
    delete[] keyHash;
    name = nullptr;
    keyHash = nullptr;
    keyHashLength = 0;
    type = 0;
}

ResponderID* ResponderID::clone() const {
    ResponderID* copy = new ResponderID();
    copy->type = type;
    copy->name = pkix::cloneOf(name);
    copy->keyHash = pkix::copyBytes(keyHash, keyHashLength);
    copy->keyHashLength = keyHash != nullptr ? keyHashLength : 0;
    return copy;
}

Name* ResponderID::getName() const {
    return pkix::cloneOf(name);
}

void ResponderID::setName(const Name* value) {
    Name* copy = pkix::cloneOf(value);
    clear();
    name = copy;
    type = copy != nullptr ? kByName : 0;
}

void ResponderID::setKeyHash(const unsigned char* p, unsigned int n) {
    unsigned char* copy = pkix::copyBytes(p, n);
    clear();
    keyHash = copy;
    keyHashLength = copy != nullptr ? n : 0;
    type = copy != nullptr ? kByKey : 0;
}

unsigned int ResponderID::innerLength(Buffer* b) {
    if (type == kByName && name != nullptr) return name->getWrapLength(b);
    return b->lenASN1(keyHash, keyHashLength);
}

unsigned int ResponderID::getWrapLength(Buffer* b) {
    return pkix::lenExplicit(b, type == kByName ? kByName : kByKey, innerLength(b));
}

void ResponderID::wrapASN1(Buffer* b) {
    if (type == kByName && name != nullptr) {
        b->writeASN1Header(kByName, innerLength(b));
        name->wrapASN1(b);
    } else {
        b->writeASN1Header(kByKey, innerLength(b));
        b->writeASN1(keyHash, keyHashLength);
    }
}

unsigned char ResponderID::unwrapASN1(Buffer* b) {
    clear();
    unsigned char t = pkix::peekTag(b);
    unsigned int end;
    if (t != kByName && t != kByKey) return 0;
    if (!pkix::openExplicit(b, t, &end)) return 0;
    type = t;
    if (t == kByName) {
        name = new Name();
        if (!name->unwrapASN1(b)) return 0;
    } else if (!b->readASN1(&keyHash, &keyHashLength) || keyHash == nullptr ||
               keyHashLength > kMaxKeyHash) {
        return 0;
    }
    return pkix::closeExplicit(b, end);
}
