// RequestHandler: one worker's side of the verification server. It reads one request from a
// connection, judges the certificate with the worker's own view of the shared trust store (its
// own CACache object and CertVerifier over the process-wide tables) and writes the reply. A
// request that cannot be read gets no reply: the connection is just closed.
#ifndef SIGILO_TOOLS_SERVER_REQUESTHANDLER_H
#define SIGILO_TOOLS_SERVER_REQUESTHANDLER_H

#include <memory>
#include <string>

class CACache;
class CertVerifier;
class CryptoDevice;
class Semaphore;
class ServerRequest;
class Transport;
class XMLFile;

struct ServerSettings {
    std::string release;
    // The CRL retrieval mode the server runs with, 1 to 4.
    int downloadCRL = 2;
    // The server's own switch: with it off, no CRL is looked at whatever a client asks, and
    // the status reply says so (mode 5).
    bool checkCRL = true;
    unsigned int maxRequest = 65536;
};

class RequestHandler {
public:
    // What became of one exchange, for the log line.
    struct Outcome {
        int opCode = 0;
        // The code sent (0 for a clean certificate), or -1 when nothing was sent.
        long code = -1;
        std::string note;
    };

    // Neither the device nor the semaphore that guards it is owned.
    RequestHandler(CryptoDevice* device, Semaphore* deviceLock, const ServerSettings* settings);
    ~RequestHandler();

    RequestHandler(const RequestHandler&) = delete;
    RequestHandler& operator=(const RequestHandler&) = delete;

    // One exchange on a connected transport; the caller shuts the connection.
    Outcome serve(Transport* transport);
    // The reply to a request already read, built on reply (an empty document).
    Outcome answer(const ServerRequest& request, XMLFile* reply);

private:
    void judge(const ServerRequest& request, XMLFile* reply, Outcome* outcome);

    const ServerSettings* settings;
    std::unique_ptr<CACache> cache;
    std::unique_ptr<CertVerifier> verifier;
};

#endif
