// Content: the base of the classes that can stand as the content of a ContentInfo. Each has a
// copying reader (unwrapASN1) and a no-copy one (_unwrapASN1) that leaves large contents in the
// Buffer they were read from. The base itself reads and writes nothing.
#ifndef SIGILO_PKIX_CONTENT_H
#define SIGILO_PKIX_CONTENT_H

class Buffer;

class Content {
public:
    virtual ~Content() = default;
    virtual Content* clone() const { return nullptr; }
    virtual unsigned int getWrapLength(Buffer*) { return 0; }
    virtual void wrapASN1(Buffer*) {}
    virtual unsigned char unwrapASN1(Buffer*) { return 0; }
    virtual unsigned char _unwrapASN1(Buffer*) { return 0; }
};

#endif
