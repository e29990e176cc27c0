#ifndef TARNWICK_TARGET_TARGETDESCRIPTIONINCLUDES_H
#define TARNWICK_TARGET_TARGETDESCRIPTIONINCLUDES_H

#include <string>
#include <vector>

// The annexes a target description names through <xi:include href="..."/>, which some servers (QEMU)
// use for every feature instead of writing it inline.
class TargetDescriptionIncludes {
public:
    // The href values in document order, in single or double quotes; none for a document without.
    static std::vector<std::string> find(const std::string& xml);
};

#endif
