// AlgorithmParameter: the parameters of an AlgorithmIdentifier, one subclass per kind.
#ifndef SIGILO_CRYPTO_ALGORITHMPARAMETER_H
#define SIGILO_CRYPTO_ALGORITHMPARAMETER_H

class Buffer;

class AlgorithmParameter {
public:
    virtual ~AlgorithmParameter() = default;
    virtual AlgorithmParameter* clone() const = 0;
    virtual void wrapASN1(Buffer* b) = 0;
    virtual unsigned char unwrapASN1(Buffer* b) = 0;
    virtual unsigned int getWrapLength(Buffer* b) = 0;
};

// Parameters of an algorithm that has no class of its own, kept as the encoded value so that
// they are written back exactly as they came.
class RawAlgorithmParameter : public AlgorithmParameter {
public:
    RawAlgorithmParameter() = default;
    RawAlgorithmParameter(const unsigned char* encoded, unsigned int length);
    ~RawAlgorithmParameter() override;

    RawAlgorithmParameter(const RawAlgorithmParameter&) = delete;
    RawAlgorithmParameter& operator=(const RawAlgorithmParameter&) = delete;

    RawAlgorithmParameter* clone() const override;
    void wrapASN1(Buffer* b) override;
    // Takes one whole value (header and content) of any tag.
    unsigned char unwrapASN1(Buffer* b) override;
    unsigned int getWrapLength(Buffer* b) override;

    const unsigned char* _getEncoded() const { return encoded; }
    unsigned int getLength() const { return length; }

private:
    unsigned char* encoded = nullptr;
    unsigned int length = 0;
};

#endif
