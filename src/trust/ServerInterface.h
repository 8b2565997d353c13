// ServerInterface: the client of the verification server (the "sigiloServer"). In server mode
// the engine does not judge certificates itself: it sends each one to the server, which checks
// it against its own CA list and CRLs, and copies the server's findings into the report. The
// signatures are still checked locally.
//
// One exchange per connection: connect, send the request, read the reply, shut the connection
// (XMLFile::toNetwork and fromNetwork give the wire form). Any failure to connect or to
// transfer is 5174, "sigiloServer non e' raggiungibile".
//
// A reply to a certificate holds errorCode (hexadecimal, 0 for none) and the findings. The codes
// 5127 (expired), 5128 (revoked) and 5161 (suspended) are not failures here: the caller judges
// them against its reference time, with getRevocationDate and getExpiredCertsOnCRL.
//
// One thread at a time: the connection and the buffer are the object's own.
#ifndef SIGILO_TRUST_SERVERINTERFACE_H
#define SIGILO_TRUST_SERVERINTERFACE_H

#include <atomic>
#include <memory>

class Buffer;
class Logger;
class Transport;
class X500Time;
class XMLFile;

class ServerInterface {
public:
    static constexpr unsigned short kDefaultPort = 8500;
    static constexpr unsigned int kNameSize = 128;
    static constexpr unsigned int kBufferSize = 4096;
    static constexpr int kDefaultTimeout = 60;
    static constexpr unsigned long kNoError = 0xFFFFFFFFul;
    static constexpr unsigned long kErrUnreachable = 5174;
    static constexpr unsigned long kErrExpiredCRL = 5156;

    ServerInterface();
    ~ServerInterface();

    ServerInterface(const ServerInterface&) = delete;
    ServerInterface& operator=(const ServerInterface&) = delete;

    // Seconds each wait on the server may last, for every object; 60 at the start.
    static void setTimeout(int seconds);
    static int getTimeout();

    void enableLog(unsigned char level);
    void disableLog();
    // The report the findings go to; not owned, may be null.
    void setXMLOutput(XMLFile* report) { xmlOut = report; }
    void setCheckCRL(unsigned char on) { checkCRL = on; }
    void setCheckCACRL(unsigned char on) { checkCACRL = on; }
    void setUseOCSP(unsigned char on) { useOCSP = on; }
    void setCheckCertificateValidity(unsigned char on) { checkCertificateValidity = on; }
    void setErrorOnExpiredCRL(unsigned char on) { errorOnExpiredCRL = on; }
    // At most 127 characters are kept; null empties the name.
    void setServerName(const char* name);
    void setServerPort(unsigned short port) { serverPort = port; }
    const char* getServerName() const { return serverName; }
    unsigned short getServerPort() const { return serverPort; }

    // True when the server answers a status request; the report's open element (the root)
    // then gets serverRelease and, with the CRL check on, downloadCRL.
    unsigned char checkServerStatus();
    // The DER certificate in base64; timeStamp 255 for a time-stamp authority's certificate,
    // 0 for a signer's. True when the server judged it and the signer may go on.
    unsigned char askServer(const char* certificate, unsigned char timeStamp);

    unsigned long getErrCode() const { return errCode; }
    // Copies the caller deletes, or null.
    X500Time* getRevocationDate() const;
    X500Time* getExpiredCertsOnCRL() const;

    // The steps after the transfer, on a reply already read: the status reply into the report
    // root, and the judgement of a certificate reply. For tests and the fuzz target.
    unsigned char _takeStatusReply(XMLFile* reply);
    unsigned char _judgeReply(XMLFile* reply);

private:
    // Connects, sends the request and reads the reply into reply; the connection is shut in
    // every case. False on any failure.
    unsigned char exchange(int opCode, const char* certificate, XMLFile* reply);
    // 5174 with its message in the log and the report; always 0.
    unsigned char unreachable();
    void refuse(unsigned long code, const char* text);
    void copyFindings(XMLFile* reply);

    char serverName[kNameSize];
    unsigned short serverPort;
    unsigned long errCode;
    unsigned char checkCRL;
    unsigned char checkCACRL;
    unsigned char useOCSP;
    unsigned char checkCertificateValidity;
    unsigned char errorOnExpiredCRL;
    std::unique_ptr<X500Time> expiredCertsOnCRL;
    std::unique_ptr<X500Time> revocationDate;
    std::unique_ptr<Buffer> buffer;
    std::unique_ptr<Transport> transport;
    std::unique_ptr<Logger> log;
    XMLFile* xmlOut;

    static std::atomic<int> tcpTimeout;
};

#endif
