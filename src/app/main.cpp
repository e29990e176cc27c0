#include "app/Logger.h"
#include "app/Properties.h"

#include <cstdio>

int main(int, char**) {
    // Entry point is filled in by the pass-through proxy work.
    return 0;
}
