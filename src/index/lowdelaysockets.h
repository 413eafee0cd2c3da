// Nagle's algorithm off for the TCP connections this process opens. Qt's HTTP client leaves it on
// and has no switch for it.
// Any thread; takes effect for connections opened after the call.
#pragma once

// Every index request goes out on a connection of its own ("Connection: close"), so each one is the
// first write after a TLS handshake. With Nagle's algorithm on, that request waits for the server's
// delayed acknowledgement of the handshake's last record: about 40 ms per request. This makes every
// later TCP connect() of the process set TCP_NODELAY first.
void enableLowDelaySockets();
