// LDAPSession: one connection to a directory, speaking LDAPMessage over a Transport. It binds
// simply, searches, and unbinds; every wait is bounded by the time-out, and every message read
// by kMaxMessage bytes, so neither a silent directory nor a hostile one holds the caller.
#ifndef SIGILO_NET_LDAPSESSION_H
#define SIGILO_NET_LDAPSESSION_H

#include <memory>
#include <string>
#include <vector>

#include "net/Transport.h"

class LDAPMessage;
class SearchRequest;
class SearchResultEntry;

class LDAPSession {
public:
    static constexpr int kDefaultPort = 389;
    // The longest message read, and the most messages taken in answer to one search.
    static constexpr unsigned int kMaxMessage = 64u * 1024 * 1024 + 65536;
    static constexpr int kMaxSearchMessages = 1024;
    // Entries kept from one search; more are read and dropped.
    static constexpr size_t kMaxEntries = 8;

    LDAPSession(const char* host, int port);
    ~LDAPSession();

    LDAPSession(const LDAPSession&) = delete;
    LDAPSession& operator=(const LDAPSession&) = delete;

    void setTimeout(long seconds) { transport.setTimeout(seconds); }
    // Connects; 255 on success.
    unsigned char initSession();
    // Works over a descriptor already connected instead.
    unsigned char attach(int fd);
    void closeSession();

    unsigned char sendMessage(LDAPMessage* message);
    // The next message from the directory, or null on a failure of the connection or a message
    // that does not read.
    LDAPMessage* receiveMessage();

    // A simple bind (version 3); 255 when the directory answers success.
    unsigned char bind(const char* name, const char* password);
    // The entries that answer the request, up to its SearchResultDone, whose result code goes
    // to *resultCode. 0 when the exchange broke off before the end.
    unsigned char search(const SearchRequest* request,
                         std::vector<std::unique_ptr<SearchResultEntry>>* entries, int* resultCode);
    // Sends the unbind; the directory then closes the connection.
    unsigned char unbind();

private:
    std::string host;
    int port;
    int nextID;
    Transport transport;
};

#endif
