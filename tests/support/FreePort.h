#ifndef TARNWICK_TESTS_SUPPORT_FREEPORT_H
#define TARNWICK_TESTS_SUPPORT_FREEPORT_H

// A TCP port that the kernel has just handed out as free on every interface and that nothing listens
// on now: for a process that must be told its port, or for a server that is down.
unsigned short freeTcpPort();

#endif
