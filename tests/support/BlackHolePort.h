#ifndef TARNWICK_TESTS_SUPPORT_BLACKHOLEPORT_H
#define TARNWICK_TESTS_SUPPORT_BLACKHOLEPORT_H

// A loopback port whose accept queue is full, so that a further connect neither succeeds nor is
// refused: the kernel drops its SYN and the attempt waits until it times out. Lives as long as the object.
class BlackHolePort {
public:
    BlackHolePort();
    ~BlackHolePort();
    BlackHolePort(const BlackHolePort&) = delete;
    BlackHolePort& operator=(const BlackHolePort&) = delete;

    unsigned short port() const { return listenPort; }

private:
    int listener = -1;
    int filler = -1;
    unsigned short listenPort = 0;
};

#endif
