#include "doubles/Backing.h"

#include "../../src/platform/platform_FileCalls.cpp"
