// Transport: one network connection, TCP or Unix domain, under every network client of the
// library (HTTP, LDAP, the verification server). Each call that waits on the peer is bounded by
// the object's time-out, and a connection may go through a SOCKS 5 proxy, except towards the
// networks of the no-SOCKS table (the local interfaces' networks, and those named by
// setNoSOCKS). The object also offers listening sockets, which the servers of the tests and the
// tools use.
//
// Results: 0 for success; otherwise an errno value, 1 for a state or stream failure (also the
// end of the stream during a read), 9 for a descriptor too high for the tables, 110 for a
// time-out.
#ifndef SIGILO_NET_TRANSPORT_H
#define SIGILO_NET_TRANSPORT_H

#include <netinet/in.h>

#include <vector>

class Buffer;
class Mutex;

class Transport {
public:
    // Descriptors at or above this are refused: the tables below have this many places.
    static constexpr int kMaxDescriptor = 1024;
    static constexpr unsigned int kPeerSize = 129;
    static constexpr unsigned int kSOCKSTextSize = 128;
    static constexpr int kMaxNoSOCKS = 20;
    static constexpr long kDefaultTimeout = 120;
    // The time-out that means none.
    static constexpr long kNoTimeout = -1;
    // Bytes handed to one write or awaited by one wait.
    static constexpr unsigned int kBlockSize = 1024;
    static constexpr int kTimedOut = 110;
    static constexpr int kBadDescriptor = 9;

    Transport();
    ~Transport();

    Transport(const Transport&) = delete;
    Transport& operator=(const Transport&) = delete;

    // Connects to the host (dotted text or a name), through the SOCKS proxy when one is set and
    // the host is not on a no-SOCKS network. 1 when the object is already connected.
    int Connect(const char* host, unsigned short port);
    // Unix domain; the peer text becomes "unixSocket".
    int Connect(const char* path);
    // Takes a descriptor already connected (one end of a socketpair, say) as this object's
    // connection; 1 when already connected, 9 for a descriptor too high.
    int attach(int fd);

    // Writes n bytes from the read position on (which advances); 1 when fewer are there.
    int Send(Buffer* buffer, unsigned int n);
    int Send(const char* data, unsigned int n);
    // Reads exactly n bytes behind the write position (which advances), each wait bounded by
    // the time-out; 1 when the buffer has no room for them, or when the peer closes first.
    int Receive(Buffer* buffer, unsigned int n);
    int Receive(char* data, unsigned int n);

    void setTimeout(long seconds) { timeout = seconds; }
    long getTimeout() const { return timeout; }
    void shutdownConnect();
    unsigned char isConnected() const { return so >= 0 ? 255 : 0; }
    unsigned char isListening() const { return ls >= 0 ? 255 : 0; }
    // The dotted address of the peer, or "unixSocket"; the object's own array.
    const char* getPeer() const { return peer; }

    // Listening on every IPv4 interface or on a Unix domain path.
    int enableListen(unsigned short port, int backlog);
    int enableListen(unsigned short port);
    int enableListen(const char* path, int backlog);
    int enableListen(const char* path);
    // The port a TCP listening socket was given (useful after listening on port 0), or 0.
    unsigned short getListenPort() const;
    // Takes one connection from the listening socket into this object's connection.
    int acceptConnection();
    void closeListen();
    void closeListenAndConnect();
    // Waits on every listening socket of the process; the object of the first with a
    // connection pending, or null. 0 seconds waits without limit.
    static Transport* Poll(int seconds);

    void setReuseAddress(unsigned char on) { reuse = on; }
    int setBlocking();
    int setNonBlocking();
    int getRcvBufferSize();
    int getSndBufferSize();
    int setRcvBufferSize(int size);
    int setSndBufferSize(int size);

    // The SOCKS 5 proxy for every later connection (null host: none). The user and password are
    // kept only when both are given. The networks of the local interfaces join the no-SOCKS
    // table, so that they are reached directly.
    static void setSOCKSProxy(const char* host, unsigned short port, const char* user,
                              const char* password);
    // One network (dotted address and mask) reached directly; 0 when the table is full or a
    // text is not a dotted address.
    static unsigned char setNoSOCKS(const char* address, const char* netmask);
    // Forgets the proxy and empties the no-SOCKS table.
    static void clearSOCKS();
    // Empties the no-SOCKS table alone, the local networks included: every connection then
    // goes through the proxy.
    static void clearNoSOCKS() { lastNoSOCKS = 0; }
    static int getNoSOCKSCount() { return lastNoSOCKS; }

    // Whether the text is a dotted IPv4 address.
    static unsigned char isDotNotation(const char* host);

private:
    // The read loop behind both Receive forms.
    int receiveInto(unsigned char* to, unsigned int n, unsigned int* got);
    int _connect(const char* host, unsigned short port);
    // Connects the socket s (non-blocking) to one address and waits for the outcome.
    int connectAddress(int* s, int flags, const struct sockaddr_in* address);
    unsigned char _SOCKSAuthenticate();
    int _SOCKSconnect(const char* host, unsigned short port);
    // Registers the connected socket in the tables and fills the peer text; 9 for a descriptor
    // too high (the socket is closed).
    int adopt(int s, int flags);
    // Waits until the connection can be read (events POLLIN) or written (POLLOUT): 0, 110 on a
    // time-out, or errno.
    int waitFor(short events);
    // The IPv4 address of a dotted text or a name; INADDR_NONE when unknown.
    static in_addr_t resolve(const char* host);
    // Every IPv4 address of a dotted text (one) or a name (at most 64); none when unknown.
    static std::vector<in_addr_t> resolveAll(const char* host);
    static bool isNoSOCKS(in_addr_t address);
    static void addInterfaceNetworks();

    int so;
    int ls;
    long timeout;
    unsigned char reuse;
    char peer[kPeerSize];

    static Mutex* linuxMutex;
    static Transport* so_table[kMaxDescriptor];
    static Transport* ls_table[kMaxDescriptor];
    static char SOCKSServer[kSOCKSTextSize];
    static unsigned short SOCKSPort;
    static char SOCKSUsername[kSOCKSTextSize];
    static char SOCKSPassword[kSOCKSTextSize];
    static in_addr_t noSOCKSAddress[kMaxNoSOCKS];
    static in_addr_t noSOCKSNetmask[kMaxNoSOCKS];
    static int lastNoSOCKS;
};

#endif
