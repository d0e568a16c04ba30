// The source that CMake compiles precompiled.h with.
#include "tests/unit/support/precompiled.h"
