// HTTP: the client side of the web transport. So far it holds the decoding of URL text that the
// trust store applies to the addresses it keeps; the fetching operations come with the
// transports.
#ifndef SIGILO_NET_HTTP_H
#define SIGILO_NET_HTTP_H

class HTTP {
public:
    // A new array (delete[]) with the text's "+" turned into blanks and its "%XY" escapes into
    // the bytes they stand for, a decoded carriage return being dropped; null for null. The
    // character right behind a "+" is copied as it stands. A "%" not followed by two hexadecimal
    // digits is kept as it is.
    static char* cleanURL(const char* url);
};

#endif
