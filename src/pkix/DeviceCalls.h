// The two device operations a signed structure needs beyond digesting and signing messages:
// verifying a signature (over a DigestInfo, or over the signed bytes) and signing a prepared
// digest. They are reached through these templates so that the call path of every signed
// structure stays complete whatever the device offers: a device without the operation answers
// 0, which every caller treats as a failed check or a failed signature. Once the device class
// has the operation, the same call reaches it with no change here.
#ifndef SIGILO_PKIX_DEVICECALLS_H
#define SIGILO_PKIX_DEVICECALLS_H

#include <type_traits>
#include <utility>

class DigestInfo;
class KeyInfo;
class Signature;

namespace pkix {

template <class D, class = void>
struct HasDigestVerify : std::false_type {};
template <class D>
struct HasDigestVerify<
    D, std::void_t<decltype(std::declval<D&>().verify(
           std::declval<Signature*>(), std::declval<DigestInfo*>(), std::declval<KeyInfo*>()))>>
    : std::true_type {};

template <class D, class = void>
struct HasDataVerify : std::false_type {};
template <class D>
struct HasDataVerify<D, std::void_t<decltype(std::declval<D&>().verify(
                            std::declval<Signature*>(), std::declval<unsigned char*>(),
                            std::declval<unsigned long>(), std::declval<KeyInfo*>()))>>
    : std::true_type {};

template <class D, class = void>
struct HasSignDigest : std::false_type {};
template <class D>
struct HasSignDigest<D, std::void_t<decltype(std::declval<D&>().signDigest(
                            std::declval<unsigned char*>(), std::declval<unsigned long>()))>>
    : std::true_type {};

// The signature over a digest; 255 when the device confirms it.
template <class D>
unsigned char verifyDigest(D* device, Signature* sign, DigestInfo* digest, KeyInfo* key) {
    if constexpr (HasDigestVerify<D>::value) {
        return device->verify(sign, digest, key) ? 255 : 0;
    } else {
        (void)device, (void)sign, (void)digest, (void)key;
        return 0;
    }
}

// The signature over the signed bytes themselves; 255 when the device confirms it.
template <class D>
unsigned char verifyData(D* device, Signature* sign, unsigned char* data, unsigned long length,
                         KeyInfo* key) {
    if constexpr (HasDataVerify<D>::value) {
        return device->verify(sign, data, length, key) ? 255 : 0;
    } else {
        (void)device, (void)sign, (void)data, (void)length, (void)key;
        return 0;
    }
}

// A signature over an encoded DigestInfo, a new object, or null.
template <class D>
Signature* signDigest(D* device, unsigned char* data, unsigned long length) {
    if constexpr (HasSignDigest<D>::value) {
        return device->signDigest(data, length);
    } else {
        (void)device, (void)data, (void)length;
        return nullptr;
    }
}

}  // namespace pkix

#endif
