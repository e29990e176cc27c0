#ifndef TARNWICK_DEBUGINFO_ARRAYLENGTH_H
#define TARNWICK_DEBUGINFO_ARRAYLENGTH_H

#include <istream>
#include <string>

// The number of elements of a global array variable, as its type in a "readelf -wi" dump gives it: an
// optimised build keeps the array's bound even where the program keeps no variable holding its size.
class ArrayLength {
public:
    virtual ~ArrayLength() = default;

    // The first dimension of the first declaration of variable whose type is an array with a bound; false
    // when there is none, out then untouched.
    static bool find(std::istream& dump, const std::string& variable, unsigned int& out);
};

#endif
