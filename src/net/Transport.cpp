// Transport: sockets with bounded waits, and the SOCKS 5 hop.
#include "net/Transport.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <mutex>
#include <vector>

#include "asn1/Buffer.h"
#include "net/Mutex.h"

Mutex* Transport::linuxMutex = nullptr;
Transport* Transport::so_table[kMaxDescriptor] = {};
Transport* Transport::ls_table[kMaxDescriptor] = {};
char Transport::SOCKSServer[kSOCKSTextSize] = {};
unsigned short Transport::SOCKSPort = 0;
char Transport::SOCKSUsername[kSOCKSTextSize] = {};
char Transport::SOCKSPassword[kSOCKSTextSize] = {};
in_addr_t Transport::noSOCKSAddress[kMaxNoSOCKS] = {};
in_addr_t Transport::noSOCKSNetmask[kMaxNoSOCKS] = {};
int Transport::lastNoSOCKS = 0;

namespace {

// A connect that fails for want of a local port is tried again after a pause, a bounded number
// of times: the ports come back as old connections leave TIME_WAIT.
constexpr int kAddressRetries = 20;
constexpr useconds_t kAddressPause = 500000;
// Scratch for name resolution; grown on ERANGE up to the last size.
constexpr size_t kResolveScratch = 1024;
constexpr size_t kResolveScratchMax = 65536;

int pollMillis(long seconds) {
    if (seconds < 0) return -1;
    if (seconds > INT_MAX / 1000) return INT_MAX;
    return static_cast<int>(seconds * 1000);
}

void copyText(char* to, const char* from, size_t size) {
    if (from == nullptr) from = "";
    strncpy(to, from, size - 1);
    to[size - 1] = 0;
}

// Objects on several threads (the workers of a server) register and release descriptors in
// the shared table at once; and a descriptor closed on one thread may at once be reused on
// another, so its place is released before it is closed.
std::mutex tableMutex;
std::once_flag lockMade;

}  // namespace

Transport::Transport() : so(-1), ls(-1), timeout(kDefaultTimeout), reuse(255), peer() {
    // The first object makes the lock of name resolution, once even when the first objects
    // are made on several threads together.
    std::call_once(lockMade, [] {
        if (linuxMutex == nullptr) linuxMutex = new Mutex();
    });
}

Transport::~Transport() {
    closeListenAndConnect();
}

unsigned char Transport::isDotNotation(const char* host) {
    if (host == nullptr) return 0;
    struct in_addr address;
    return inet_pton(AF_INET, host, &address) == 1 ? 255 : 0;
}

in_addr_t Transport::resolve(const char* host) {
    std::vector<in_addr_t> addresses = resolveAll(host);
    return addresses.empty() ? INADDR_NONE : addresses[0];
}

std::vector<in_addr_t> Transport::resolveAll(const char* host) {
    std::vector<in_addr_t> addresses;
    struct in_addr address;
    if (host == nullptr) return addresses;
    if (inet_pton(AF_INET, host, &address) == 1) {
        addresses.push_back(address.s_addr);
        return addresses;
    }
    // The resolver's answer lives in the scratch buffer; one lookup at a time.
    MutexLock hold(*linuxMutex);
    std::vector<char> scratch(kResolveScratch);
    struct hostent entry;
    struct hostent* found = nullptr;
    int error = 0;
    while (gethostbyname_r(host, &entry, scratch.data(), scratch.size(), &found, &error) ==
               ERANGE &&
           scratch.size() < kResolveScratchMax) {
        scratch.resize(scratch.size() * 2);
    }
    for (int i = 0; found != nullptr && found->h_addrtype == AF_INET &&
                    found->h_addr_list[i] != nullptr && i < 64;
         ++i) {
        in_addr_t one;
        memcpy(&one, found->h_addr_list[i], sizeof one);
        addresses.push_back(one);
    }
    return addresses;
}

bool Transport::isNoSOCKS(in_addr_t address) {
    for (int i = 0; i < lastNoSOCKS; ++i) {
        if ((address & noSOCKSNetmask[i]) == noSOCKSAddress[i]) return true;
    }
    return false;
}

int Transport::Connect(const char* host, unsigned short port) {
    if (so >= 0 || host == nullptr) return 1;
    if (SOCKSServer[0] == 0) return _connect(host, port);
    in_addr_t address = resolve(host);
    if (lastNoSOCKS > 0 && address != INADDR_NONE && isNoSOCKS(address)) {
        return _connect(host, port);
    }
    return _SOCKSconnect(host, port);
}

int Transport::Connect(const char* path) {
    if (so >= 0 || path == nullptr) return 1;
    struct sockaddr_un address;
    memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    if (strlen(path) >= sizeof address.sun_path) return ENAMETOOLONG;
    strcpy(address.sun_path, path);
    int s = socket(AF_UNIX, SOCK_STREAM, 0);
    if (s < 0) return errno;
    if (connect(s, reinterpret_cast<struct sockaddr*>(&address), sizeof address) != 0) {
        int error = errno;
        close(s);
        return error;
    }
    int result = adopt(s, fcntl(s, F_GETFL));
    if (result == 0) copyText(peer, "unixSocket", sizeof peer);
    return result;
}

int Transport::attach(int fd) {
    if (so >= 0 || fd < 0) return 1;
    return adopt(fd, fcntl(fd, F_GETFL));
}

int Transport::adopt(int s, int flags) {
    if (s >= kMaxDescriptor) {
        close(s);
        return kBadDescriptor;
    }
    if (flags >= 0) fcntl(s, F_SETFL, flags);
    so = s;
    {
        std::lock_guard<std::mutex> hold(tableMutex);
        so_table[s] = this;
    }
    struct sockaddr_in address;
    socklen_t length = sizeof address;
    if (getpeername(s, reinterpret_cast<struct sockaddr*>(&address), &length) == 0 &&
        address.sin_family == AF_INET) {
        char text[INET_ADDRSTRLEN] = {};
        inet_ntop(AF_INET, &address.sin_addr, text, sizeof text);
        copyText(peer, text, sizeof peer);
    } else {
        copyText(peer, "unixSocket", sizeof peer);
    }
    return 0;
}

// 0 when connected. A connection that was in progress and did not complete in time, or was
// refused, closes the socket (*s becomes -1) and gives 1; so does a descriptor too high, with 9.
// Any other failure leaves the socket open for the caller and gives errno.
int Transport::connectAddress(int* s, int flags, const struct sockaddr_in* address) {
    int result = connect(*s, reinterpret_cast<const struct sockaddr*>(address), sizeof *address);
    for (int tries = 0; result != 0 && errno == EADDRNOTAVAIL && tries < kAddressRetries; ++tries) {
        usleep(kAddressPause);
        result = connect(*s, reinterpret_cast<const struct sockaddr*>(address), sizeof *address);
    }
    if (result != 0 && errno != EINPROGRESS) return errno;
    if (result != 0) {
        struct pollfd wait = {*s, POLLOUT, 0};
        int count;
        do {
            count = poll(&wait, 1, pollMillis(timeout));
        } while (count < 0 && errno == EINTR);
        // A refused connection shows as writable with an error pending: asking for the peer is
        // how it is told from a connected one.
        struct sockaddr_in connected;
        socklen_t length = sizeof connected;
        if (count <= 0 ||
            getpeername(*s, reinterpret_cast<struct sockaddr*>(&connected), &length) != 0) {
            close(*s);
            *s = -1;
            return 1;
        }
    }
    int adopted = adopt(*s, flags);
    if (adopted != 0) *s = -1;
    return adopted;
}

int Transport::_connect(const char* host, unsigned short port) {
    int s = socket(AF_INET, SOCK_STREAM, 0);
    if (s < 0) return errno;
    int flags = fcntl(s, F_GETFL);
    fcntl(s, F_SETFL, flags | O_NONBLOCK);
    struct sockaddr_in address;
    memset(&address, 0, sizeof address);
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    std::vector<in_addr_t> addresses = resolveAll(host);
    if (addresses.empty()) {
        close(s);
        return 1;
    }
    int result = 1;
    for (size_t i = 0; i < addresses.size(); ++i) {
        address.sin_addr.s_addr = addresses[i];
        result = connectAddress(&s, flags, &address);
        // Success, or a connection in progress that came to nothing: the walk ends there.
        if (result == 0 || s < 0) return result;
        close(s);
        if (i + 1 == addresses.size()) return result;
        s = socket(AF_INET, SOCK_STREAM, 0);
        if (s < 0) return errno;
        fcntl(s, F_SETFL, flags | O_NONBLOCK);
    }
    return result;
}

int Transport::waitFor(short events) {
    struct pollfd wait = {so, events, 0};
    for (;;) {
        int count = poll(&wait, 1, pollMillis(timeout));
        if (count > 0) return 0;
        if (count == 0) return kTimedOut;
        if (errno != EINTR) return errno;
    }
}

int Transport::Send(const char* data, unsigned int n) {
    if (so < 0 || (data == nullptr && n > 0)) return 1;
    unsigned int sent = 0;
    while (sent < n) {
        int waited = waitFor(POLLOUT);
        if (waited != 0) return waited;
        unsigned int block = n - sent < kBlockSize ? n - sent : kBlockSize;
        // MSG_NOSIGNAL: a peer that has gone away gives EPIPE here instead of killing the
        // process with SIGPIPE.
        ssize_t written = send(so, data + sent, block, MSG_NOSIGNAL);
        if (written < 0) {
            if (errno == EINTR || errno == EAGAIN) continue;
            return errno;
        }
        sent += static_cast<unsigned int>(written);
    }
    return 0;
}

int Transport::Send(Buffer* buffer, unsigned int n) {
    if (so < 0 || buffer == nullptr || buffer->getWritePos() < buffer->getReadPos() ||
        buffer->getWritePos() - buffer->getReadPos() < n) {
        return 1;
    }
    int result = Send(reinterpret_cast<const char*>(buffer->_getData() + buffer->getReadPos()), n);
    if (result == 0) buffer->setReadPos(buffer->getReadPos() + n);
    return result;
}

int Transport::Receive(char* data, unsigned int n) {
    if (so < 0 || (data == nullptr && n > 0)) return 1;
    unsigned int got = 0;
    return receiveInto(reinterpret_cast<unsigned char*>(data), n, &got);
}

// What arrived stays in the buffer, behind its write position, even when the whole could not
// be had.
int Transport::Receive(Buffer* buffer, unsigned int n) {
    if (so < 0 || buffer == nullptr || buffer->getWritePos() > buffer->getMaxSize() ||
        buffer->getMaxSize() - buffer->getWritePos() < n) {
        return 1;
    }
    unsigned int got = 0;
    int result = receiveInto(buffer->_getData() + buffer->getWritePos(), n, &got);
    buffer->setWritePos(buffer->getWritePos() + got);
    return result;
}

// Reads exactly n bytes in blocks, each after waiting for the socket within the time-out; the
// bytes read so far in *got. 0, 1 at the end of the stream, kTimedOut, or the errno.
int Transport::receiveInto(unsigned char* to, unsigned int n, unsigned int* got) {
    while (*got < n) {
        int waited = waitFor(POLLIN);
        if (waited != 0) return waited;
        unsigned int block = n - *got < kBlockSize ? n - *got : kBlockSize;
        ssize_t count = read(so, to + *got, block);
        if (count == 0) return 1;
        if (count < 0) {
            if (errno == EINTR || errno == EAGAIN) continue;
            return errno;
        }
        *got += static_cast<unsigned int>(count);
    }
    return 0;
}

void Transport::shutdownConnect() {
    if (so < 0) return;
    shutdown(so, SHUT_RDWR);
    if (so < kMaxDescriptor) {
        std::lock_guard<std::mutex> hold(tableMutex);
        so_table[so] = nullptr;
    }
    close(so);
    so = -1;
}

// ---- Listening ----

int Transport::enableListen(unsigned short port, int backlog) {
    if (ls >= 0) return 1;
    int s = socket(AF_INET, SOCK_STREAM, 0);
    if (s < 0) return errno;
    if (s >= kMaxDescriptor) {
        close(s);
        return kBadDescriptor;
    }
    int on = reuse ? 1 : 0;
    setsockopt(s, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    struct sockaddr_in address;
    memset(&address, 0, sizeof address);
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    if (bind(s, reinterpret_cast<struct sockaddr*>(&address), sizeof address) != 0 ||
        listen(s, backlog) != 0) {
        int error = errno;
        close(s);
        return error;
    }
    ls = s;
    ls_table[s] = this;
    return 0;
}

int Transport::enableListen(unsigned short port) {
    return enableListen(port, SOMAXCONN);
}

int Transport::enableListen(const char* path, int backlog) {
    if (ls >= 0 || path == nullptr) return 1;
    struct sockaddr_un address;
    memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    if (strlen(path) >= sizeof address.sun_path) return ENAMETOOLONG;
    strcpy(address.sun_path, path);
    int s = socket(AF_UNIX, SOCK_STREAM, 0);
    if (s < 0) return errno;
    if (s >= kMaxDescriptor) {
        close(s);
        return kBadDescriptor;
    }
    unlink(path);
    if (bind(s, reinterpret_cast<struct sockaddr*>(&address), sizeof address) != 0 ||
        listen(s, backlog) != 0) {
        int error = errno;
        close(s);
        return error;
    }
    ls = s;
    ls_table[s] = this;
    return 0;
}

int Transport::enableListen(const char* path) {
    return enableListen(path, SOMAXCONN);
}

unsigned short Transport::getListenPort() const {
    struct sockaddr_in address;
    socklen_t length = sizeof address;
    if (ls < 0 || getsockname(ls, reinterpret_cast<struct sockaddr*>(&address), &length) != 0 ||
        address.sin_family != AF_INET) {
        return 0;
    }
    return ntohs(address.sin_port);
}

int Transport::acceptConnection() {
    if (ls < 0 || so >= 0) return 1;
    int s;
    do {
        s = accept(ls, nullptr, nullptr);
    } while (s < 0 && errno == EINTR);
    if (s < 0) return errno;
    return adopt(s, fcntl(s, F_GETFL));
}

void Transport::closeListen() {
    if (ls < 0) return;
    close(ls);
    ls_table[ls] = nullptr;
    ls = -1;
}

void Transport::closeListenAndConnect() {
    closeListen();
    shutdownConnect();
}

Transport* Transport::Poll(int seconds) {
    std::vector<struct pollfd> waits;
    for (int fd = 0; fd < kMaxDescriptor; ++fd) {
        if (ls_table[fd] != nullptr) waits.push_back({fd, POLLRDNORM, 0});
    }
    if (waits.empty()) return nullptr;
    int count;
    do {
        count = poll(waits.data(), waits.size(), seconds == 0 ? -1 : pollMillis(seconds));
    } while (count < 0 && errno == EINTR);
    for (const struct pollfd& one : waits) {
        if (count > 0 && (one.revents & POLLRDNORM) != 0) return ls_table[one.fd];
    }
    return nullptr;
}

// ---- Socket options ----

int Transport::setBlocking() {
    int flags = fcntl(so, F_GETFL);
    if (flags < 0 || fcntl(so, F_SETFL, flags & ~O_NONBLOCK) != 0) return errno;
    return 0;
}

int Transport::setNonBlocking() {
    int flags = fcntl(so, F_GETFL);
    if (flags < 0 || fcntl(so, F_SETFL, flags | O_NONBLOCK) != 0) return errno;
    return 0;
}

int Transport::getRcvBufferSize() {
    int size = 0;
    socklen_t length = sizeof size;
    return getsockopt(so, SOL_SOCKET, SO_RCVBUF, &size, &length) == 0 ? size : -1;
}

int Transport::getSndBufferSize() {
    int size = 0;
    socklen_t length = sizeof size;
    return getsockopt(so, SOL_SOCKET, SO_SNDBUF, &size, &length) == 0 ? size : -1;
}

int Transport::setRcvBufferSize(int size) {
    return setsockopt(so, SOL_SOCKET, SO_RCVBUF, &size, sizeof size) == 0 ? 0 : errno;
}

int Transport::setSndBufferSize(int size) {
    return setsockopt(so, SOL_SOCKET, SO_SNDBUF, &size, sizeof size) == 0 ? 0 : errno;
}

// ---- SOCKS 5 ----

void Transport::setSOCKSProxy(const char* host, unsigned short port, const char* user,
                              const char* password) {
    copyText(SOCKSServer, host, sizeof SOCKSServer);
    SOCKSPort = port;
    bool both = user != nullptr && *user != 0 && password != nullptr;
    copyText(SOCKSUsername, both ? user : "", sizeof SOCKSUsername);
    copyText(SOCKSPassword, both ? password : "", sizeof SOCKSPassword);
    if (SOCKSServer[0] != 0) addInterfaceNetworks();
}

// The networks of the local interfaces (loopback included) are reached directly. The table
// keeps its bound here too: a host with many interfaces fills it and the rest go by the proxy.
void Transport::addInterfaceNetworks() {
    struct ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) return;
    for (struct ifaddrs* one = list; one != nullptr && lastNoSOCKS < kMaxNoSOCKS;
         one = one->ifa_next) {
        if (one->ifa_addr == nullptr || one->ifa_netmask == nullptr ||
            one->ifa_addr->sa_family != AF_INET) {
            continue;
        }
        in_addr_t address = reinterpret_cast<struct sockaddr_in*>(one->ifa_addr)->sin_addr.s_addr;
        in_addr_t mask = reinterpret_cast<struct sockaddr_in*>(one->ifa_netmask)->sin_addr.s_addr;
        if (isNoSOCKS(address)) continue;
        noSOCKSNetmask[lastNoSOCKS] = mask;
        noSOCKSAddress[lastNoSOCKS] = address & mask;
        ++lastNoSOCKS;
    }
    freeifaddrs(list);
}

unsigned char Transport::setNoSOCKS(const char* address, const char* netmask) {
    if (lastNoSOCKS >= kMaxNoSOCKS) return 0;
    struct in_addr host, mask;
    if (address == nullptr || netmask == nullptr || inet_pton(AF_INET, address, &host) != 1 ||
        inet_pton(AF_INET, netmask, &mask) != 1) {
        return 0;
    }
    noSOCKSNetmask[lastNoSOCKS] = mask.s_addr;
    noSOCKSAddress[lastNoSOCKS] = host.s_addr & mask.s_addr;
    ++lastNoSOCKS;
    return 255;
}

void Transport::clearSOCKS() {
    SOCKSServer[0] = 0;
    SOCKSPort = 0;
    SOCKSUsername[0] = 0;
    SOCKSPassword[0] = 0;
    lastNoSOCKS = 0;
}

unsigned char Transport::_SOCKSAuthenticate() {
    if (_connect(SOCKSServer, SOCKSPort) != 0) return 0;
    bool withUser = SOCKSUsername[0] != 0;
    const char plain[] = {5, 1, 0};
    const char both[] = {5, 2, 0, 2};
    unsigned char reply[2] = {};
    bool ok = withUser ? Send(both, sizeof both) == 0 : Send(plain, sizeof plain) == 0;
    ok = ok && Receive(reinterpret_cast<char*>(reply), 2) == 0 && reply[0] == 5;
    if (ok && reply[1] == 2) {
        if (!withUser) {
            ok = false;
        } else {
            // RFC 1929: version 1, then each text after its length byte.
            size_t userLength = strlen(SOCKSUsername);
            size_t passwordLength = strlen(SOCKSPassword);
            std::vector<char> request;
            request.push_back(1);
            request.push_back(static_cast<char>(userLength));
            request.insert(request.end(), SOCKSUsername, SOCKSUsername + userLength);
            request.push_back(static_cast<char>(passwordLength));
            request.insert(request.end(), SOCKSPassword, SOCKSPassword + passwordLength);
            unsigned char status[2] = {};
            ok = Send(request.data(), static_cast<unsigned int>(request.size())) == 0 &&
                 Receive(reinterpret_cast<char*>(status), 2) == 0 && status[0] == 1 &&
                 status[1] == 0;
        }
    } else if (ok) {
        ok = reply[1] == 0;
    }
    if (!ok) shutdownConnect();
    return ok ? 255 : 0;
}

int Transport::_SOCKSconnect(const char* host, unsigned short port) {
    if (!_SOCKSAuthenticate()) return 1;
    std::vector<char> request = {5, 1, 0};
    struct in_addr dotted;
    if (inet_pton(AF_INET, host, &dotted) == 1) {
        request.push_back(1);
        const char* bytes = reinterpret_cast<const char*>(&dotted.s_addr);
        request.insert(request.end(), bytes, bytes + 4);
    } else {
        size_t length = strlen(host);
        if (length > 255) {
            shutdownConnect();
            return 1;
        }
        request.push_back(3);
        request.push_back(static_cast<char>(length));
        request.insert(request.end(), host, host + length);
    }
    request.push_back(static_cast<char>(port >> 8));
    request.push_back(static_cast<char>(port & 0xFF));
    unsigned char reply[5] = {};
    if (Send(request.data(), static_cast<unsigned int>(request.size())) != 0 ||
        Receive(reinterpret_cast<char*>(reply), 5) != 0) {
        shutdownConnect();
        return 1;
    }
    if (reply[0] != 5 || reply[1] != 0 || reply[2] != 0) {
        shutdownConnect();
        return reply[1] != 0 ? reply[1] : 1;
    }
    // The bound address and port behind the reply: its fifth byte is the first of an IPv4
    // address, or the length of a name.
    char rest[260];
    unsigned int more;
    if (reply[3] == 1) {
        more = 5;
    } else if (reply[3] == 3) {
        more = reply[4] + 2u;
    } else {
        shutdownConnect();
        return 1;
    }
    if (Receive(rest, more) != 0) {
        shutdownConnect();
        return 1;
    }
    return 0;
}
